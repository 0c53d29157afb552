/// @file
/// A run of the simulated machine, and the records of its threads. See SimMachine.hpp.
///
/// Calls out: the body of the run, the bodies of its threads.
#include "SimMachine.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "../Boundary.pkg.hpp"

namespace sim {

namespace {

constinit Thread outsideThread{.id = 1,
                               .name = "outside",
                               .body = nullptr,
                               .argument = nullptr,
                               .fiber = {},
                               .state = State::runnable,
                               .wait = {},
                               .deadline_ns = platform::noDeadline_ns,
                               .priority = 0,
                               .steps = 0,
                               .heldMutexes = 0,
                               .isAbandoned = false,
                               .parker = nullptr,
                               .next = nullptr,
                               .storage = {}};

/// The first function on every fiber.
void runThread()
{
    Thread *self = nullptr;
    platform::ThreadBody body = nullptr;
    void *argument = nullptr;
    {
        const Unseen unseen;
        self = machine.current;
        enterFiber(self->fiber, self == machine.first ? &machine.outside : nullptr);
        body = self->body;
        argument = self->argument;
    }
    platform::callOut("body", "thread", self, [&] { return body(argument); });
    runExitHooks();

    releaseTo(self);
    const Unseen unseen;
    if (self->heldMutexes != 0) fail("a thread ended that holds a mutex");
    giveParkerBack(self);
    self->state = State::ended;
    wakeWaiters(WaitKind::join, self);
    schedule(Operation::end);
}

void *runBody(void *argument)
{
    (*static_cast<const std::function<void()> *>(argument))();
    return nullptr;
}

/// Nothing that the program makes once has been made, and no storage of a thread is in use.
void beginLife()
{
    ++machine.life;
    resetThreadKeys();
    std::memset(outsideThread.storage, 0, sizeof(outsideThread.storage));
}

/// Draw what kind of machine this is.
void prepare(const Options &options, Result &result)
{
    if (options.isFirstUse) beginLife();
    machine.isRunning = true;
    machine.now_ns = startTime_ns;
    machine.result = &result;
    machine.options = options;
    machine.random = Random(options.seed);
    constexpr Strategy strategies[] = {Strategy::random, Strategy::sticky, Strategy::priorities};
    constexpr std::uint32_t leaps[] = {32, 256, 1024};
    constexpr std::uint32_t spurious[] = {0, 0, 16, 64};
    constexpr std::uint32_t changes[] = {8, 64, 512};
    machine.strategy = strategies[machine.random.below(3)];
    machine.leapOneIn = leaps[machine.random.below(3)];
    machine.spuriousOneIn = spurious[machine.random.below(4)];
    machine.changeOneIn = changes[machine.random.below(3)];
    constexpr std::uint32_t changeCounts[] = {4, 64, UINT32_MAX};
    machine.changesLeft = changeCounts[machine.random.below(3)];
    machine.lowestPriority = 0;
    machine.lastId = 0;
    machine.deadlines = 0;
    result.traceHash = 0xCBF29CE484222325U;
    resetParkers();
}

/// Let go of the threads: all of them ended, or the run failed.
void cleanUp(bool hasFailed)
{
    while (machine.first != nullptr) {
        Thread *thread = machine.first;
        if (thread->state == State::ended) {
            freeThread(thread);
            continue;
        }
        if (!hasFailed) std::abort();
        machine.first = thread->next;
        abandonFiber(thread->fiber);
        thread->isAbandoned = true;
        thread->next = machine.abandoned;
        machine.abandoned = thread;
    }
    machine.last = nullptr;
}

}  // namespace

constinit Machine machine{.current = &outsideThread,
                          .first = nullptr,
                          .last = nullptr,
                          .abandoned = nullptr,
                          .outside = {},
                          .isRunning = false,
                          .now_ns = startTime_ns,
                          .life = 1,
                          .result = nullptr,
                          .options = {},
                          .random = Random(0),
                          .strategy = Strategy::random,
                          .leapOneIn = 0,
                          .spuriousOneIn = 0,
                          .changeOneIn = 0,
                          .changesLeft = 0,
                          .lowestPriority = 0,
                          .lastId = 0,
                          .deadlines = 0};

Thread *makeThread(const char *name, platform::ThreadBody body, void *argument)
{
    auto *thread = new (std::nothrow) Thread{};
    if (thread == nullptr) return nullptr;
    if (!makeFiber(thread->fiber, runThread)) {
        delete thread;
        return nullptr;
    }
    std::snprintf(thread->name, sizeof(thread->name), "%s", name != nullptr ? name : "");
    thread->body = body;
    thread->argument = argument;
    thread->deadline_ns = platform::noDeadline_ns;
    return thread;
}

void addThread(Thread *thread)
{
    thread->id = ++machine.lastId;
    thread->priority = 1 + static_cast<std::int64_t>(machine.random.below(1U << 20U));
    if (machine.last != nullptr) {
        machine.last->next = thread;
    } else {
        machine.first = thread;
    }
    machine.last = thread;
}

void freeThread(Thread *thread)
{
    Thread *previous = nullptr;
    Thread **link = &machine.first;
    while (*link != thread) {
        previous = *link;
        link = &previous->next;
    }
    *link = thread->next;
    if (machine.last == thread) machine.last = previous;
    dropFiber(thread->fiber);
    delete thread;
}

bool isKnownThread(const void *thread)
{
    const Thread *known = machine.first;
    while (known != nullptr && known != thread) known = known->next;
    return known != nullptr;
}

void stuck(const char *what, const char *name)
{
    std::fprintf(stderr, "simulation: outside of a run, %s \"%s\" would block for ever\n", what,
                 name != nullptr ? name : "");
    std::abort();
}

void fail(const std::string &text)
{
    if (!machine.isRunning) {
        std::fprintf(stderr, "simulation: outside of a run: %s\n", text.c_str());
        std::abort();
    }
    const Unseen unseen;
    machine.result->failure = report(text);
    releaseTo(&machine.outside);
    // Deliberate: not marked as the fiber's end. The thread is abandoned where it stands.
    switchFiber(machine.current->fiber, machine.outside, false);
    std::abort();
}

bool isRunning()
{
    return machine.isRunning;
}

Result run(const Options &options, const std::function<void()> &body)
{
    if (machine.isRunning) stuck("a run within", "a run");
    Result result;
    {
        const Unseen unseen;
        const std::int64_t outsideTime_ns = machine.now_ns;
        prepare(options, result);
        // The function object is only ever called.
        auto *argument = const_cast<void *>(static_cast<const void *>(&body));
        Thread *thread = makeThread("body", runBody, argument);
        if (thread == nullptr) stuck("without memory, a thread", "body");
        addThread(thread);
        adoptStack(machine.outside);
        machine.current = thread;
        switchFiber(machine.outside, thread->fiber, false);
        machine.current = &outsideThread;
        machine.isRunning = false;
        result.virtualTime_ns = machine.now_ns - startTime_ns;
        machine.now_ns = outsideTime_ns;
        cleanUp(!result.failure.empty());
        machine.result = nullptr;
    }
    acquireFrom(&machine.outside);
    return result;
}

}  // namespace sim
