/// @file
/// Who runs next, and what time it is. Both follow from the seed alone.
///
/// Protection: see SimMachine.hpp.
#include <cstdio>
#include <cstdlib>

#include "SimMachine.hpp"

namespace sim {

namespace {

/// Idle spinning with a deadline somewhere: time leaps this often instead of passing in small steps.
constexpr std::uint32_t idleLeapOneIn = 8;

bool isSpinning(Operation operation)
{
    return operation == Operation::yield || operation == Operation::pause;
}

/// Wake whoever's deadline has come.
void expireDeadlines()
{
    if (machine.deadlines == 0) return;
    for (Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->state == State::blocked && thread->deadline_ns <= machine.now_ns) makeRunnable(thread);
    }
}

/// Let time leap to the next deadline. Returns: false when there is none.
bool leap()
{
    if (machine.deadlines == 0) return false;
    std::int64_t earliest_ns = platform::noDeadline_ns;
    for (const Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->state == State::blocked && thread->deadline_ns < earliest_ns) earliest_ns = thread->deadline_ns;
    }
    if (machine.now_ns < earliest_ns) machine.now_ns = earliest_ns;
    expireDeadlines();
    return true;
}

/// The number of threads that can run, `except` left out.
std::uint32_t countRunnable(const Thread *except)
{
    std::uint32_t count = 0;
    for (const Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->state == State::runnable && thread != except) ++count;
    }
    return count;
}

Thread *anyRunnable(const Thread *except, std::uint32_t count)
{
    std::uint32_t skip = machine.random.below(count);
    for (Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->state != State::runnable || thread == except) continue;
        if (skip == 0) return thread;
        --skip;
    }
    return nullptr;
}

Thread *highestRunnable(const Thread *except)
{
    Thread *highest = nullptr;
    for (Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->state != State::runnable || thread == except) continue;
        if (highest == nullptr || thread->priority > highest->priority) highest = thread;
    }
    return highest;
}

/// Whether this step costs its thread the priority. When few such steps are allowed, a thread that polls without
/// yielding keeps the machine for ever, and shows as a live-lock.
bool isPriorityTaken()
{
    if (machine.changesLeft == 0 || !machine.random.oneIn(machine.changeOneIn)) return false;
    --machine.changesLeft;
    return true;
}

/// Choose among those that can run. A thread that spins lets any other run first.
/// Returns: null when none can.
Thread *choose(Operation operation)
{
    Thread *self = machine.current;
    const bool isSpin = isSpinning(operation);
    const std::uint32_t others = countRunnable(self);
    if (others == 0) return self->state == State::runnable ? self : nullptr;
    const Thread *except = isSpin ? self : nullptr;
    const std::uint32_t count = others + (!isSpin && self->state == State::runnable ? 1U : 0U);
    switch (machine.strategy) {
        case Strategy::priorities:
            if (isSpin || isPriorityTaken()) self->priority = --machine.lowestPriority;
            return highestRunnable(except);
        case Strategy::sticky:
            if (!isSpin && self->state == State::runnable && !machine.random.oneIn(8)) return self;
            return anyRunnable(except, count);
        case Strategy::random:
        default:
            return anyRunnable(except, count);
    }
}

bool isAnybodyLeft()
{
    const Thread *thread = machine.first;
    while (thread != nullptr && thread->state == State::ended) thread = thread->next;
    return thread != nullptr;
}

void addToHash(std::uint64_t value)
{
    machine.result->traceHash ^= value;
    machine.result->traceHash *= 0x100000001B3U;
}

void record(Operation operation, const Thread *next)
{
    addToHash(machine.result->steps);
    addToHash(machine.current->id);
    addToHash(static_cast<std::uint64_t>(operation));
    addToHash(next->id);
    if (!machine.options.isTraced) return;
    constexpr const char *names[] = {"start", "end",  "create", "join",  "lock",  "lock, blocked", "unlock", "wait",
                                     "wake",  "park", "unpark", "yield", "pause", "point",         "make"};
    std::fprintf(stderr, "step %llu thread %llu \"%s\": %s, then thread %llu\n",
                 static_cast<unsigned long long>(machine.result->steps),
                 static_cast<unsigned long long>(machine.current->id), machine.current->name,
                 names[static_cast<unsigned>(operation)], static_cast<unsigned long long>(next->id));
}

/// Let the caller stand still and the other thread go on.
void switchTo(Thread *next)
{
    Thread *self = machine.current;
    machine.current = next;
    releaseTo(&machine.outside);
    switchFiber(self->fiber, next->fiber, self->state == State::ended);
}

/// The last thread has ended: go back to `run`.
[[noreturn]] void endRun()
{
    releaseTo(&machine.outside);
    switchFiber(machine.current->fiber, machine.outside, true);
    std::abort();
}

}  // namespace

void schedule(Operation operation)
{
    Thread *self = machine.current;
    const std::uint64_t steps = ++machine.result->steps;
    ++self->steps;
    machine.now_ns += stepTime_ns;
    if (steps > machine.options.maxSteps) {
        fail("no end after " + std::to_string(machine.options.maxSteps) + " steps");
    }
    expireDeadlines();
    if (machine.deadlines != 0 && machine.random.oneIn(machine.leapOneIn)) leap();

    Thread *next = choose(operation);
    if (next == self && isSpinning(operation) && machine.random.oneIn(idleLeapOneIn)) leap();
    while (next == nullptr && leap()) next = choose(operation);
    if (next == nullptr) {
        if (isAnybodyLeft()) fail("dead-lock after " + std::to_string(steps) + " steps");
        endRun();
    }
    record(operation, next);
    if (next != self) switchTo(next);
}

void block(Operation operation, const Wait &wait, std::int64_t deadline_ns, bool maySpuriouslyEnd)
{
    Thread *self = machine.current;
    if (maySpuriouslyEnd && machine.random.oneIn(machine.spuriousOneIn)) {
        schedule(operation);
        return;
    }
    self->state = State::blocked;
    self->wait = wait;
    self->deadline_ns = deadline_ns;
    if (deadline_ns != platform::noDeadline_ns) ++machine.deadlines;
    schedule(operation);
}

void makeRunnable(Thread *thread)
{
    if (thread->state != State::blocked) return;
    if (thread->deadline_ns != platform::noDeadline_ns) --machine.deadlines;
    thread->state = State::runnable;
    thread->wait = {};
    thread->deadline_ns = platform::noDeadline_ns;
}

void wakeWaiters(WaitKind kind, const void *object)
{
    for (Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->wait.kind == kind && thread->wait.object == object) makeRunnable(thread);
    }
}

}  // namespace sim
