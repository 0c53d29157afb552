/// @file
/// Threads, their ids, their CPU time and their storage on the simulated machine.
#include <algorithm>

#include "SimMachine.hpp"

namespace {

using sim::machine;
using sim::Unseen;

/// CPU time of one step.
constexpr std::int64_t stepCpuTime_ns = sim::stepTime_ns;

struct ExitHook {
    std::uint32_t key;
    void (*call)(void *block);
};

constexpr std::size_t maxHooks = 64;
constexpr std::size_t alignment = 16;
constexpr int maxRounds = 4;

// Keys are for ever, and so are these.
constinit std::size_t usedStorage = 0;
constinit ExitHook hooks[maxHooks] = {};
constinit std::size_t hookCount = 0;

}  // namespace

namespace sim {

void resetThreadKeys()
{
    usedStorage = 0;
    hookCount = 0;
}

// The blocks belong to the thread, and the thread sanitizer watches them; it does not watch the table of hooks.
void runExitHooks()
{
    for (int round = 0; round < maxRounds; ++round) {
        bool isAnyCalled = false;
        for (std::size_t index = 0;; ++index) {
            ExitHook hook{};
            {
                const Unseen unseen;
                if (index >= hookCount) break;
                hook = hooks[index];
            }
            void *block = ZYLPlatform_threadBlock(hook.key);
            auto &mark = *static_cast<std::uintptr_t *>(block);
            if (mark == 0) continue;
            hook.call(block);
            mark = 0;
            isAnyCalled = true;
        }
        if (!isAnyCalled) return;
    }
}

}  // namespace sim

platform::Thread *ZYLPlatform_createThread(const platform::ThreadSettings &settings, platform::ThreadBody body,
                                           void *argument, unsigned *refusedOut)
{
    const Unseen unseen;
    if (refusedOut != nullptr) *refusedOut = 0;
    if (!machine.isRunning) return nullptr;
    platform::Thread *thread = sim::makeThread(settings.name, body, argument);
    if (thread == nullptr) return nullptr;
    sim::addThread(thread);
    sim::schedule(sim::Operation::create);
    return thread;
}

void ZYLPlatform_joinThread(platform::Thread *thread)
{
    const Unseen unseen;
    // The threads of a failed run never end, and whoever tidies up after it must not wait for them.
    for (const platform::Thread *known = machine.abandoned; known != nullptr; known = known->next) {
        if (known == thread) return;
    }
    if (!sim::isKnownThread(thread)) sim::fail("a thread is joined that does not exist");
    if (!machine.isRunning) sim::stuck("joining thread", thread->name);
    sim::schedule(sim::Operation::join);
    while (thread->state != sim::State::ended) {
        sim::block(sim::Operation::join, {sim::WaitKind::join, thread, thread->name}, platform::noDeadline_ns, false);
    }
    sim::acquireFrom(thread);
    sim::freeThread(thread);
}

bool ZYLPlatform_threadCpuTime(const void *thread, std::uint64_t *idOut, std::int64_t *cpuTimeOut_ns)
{
    const Unseen unseen;
    if (!sim::isKnownThread(thread)) return false;
    const auto *known = static_cast<const platform::Thread *>(thread);
    *idOut = known->id;
    *cpuTimeOut_ns = static_cast<std::int64_t>(known->steps) * stepCpuTime_ns;
    return true;
}

std::uint64_t ZYLPlatform_currentThreadId()
{
    const Unseen unseen;
    return machine.current->id;
}

platform::ThreadKey ZYLPlatform_createThreadKey(std::size_t size, void (*onExit)(void *block))
{
    const Unseen unseen;
    const std::size_t rounded = (std::max(size, sizeof(void *)) + alignment - 1) / alignment * alignment;
    if (size > sim::storageSize || rounded > sim::storageSize - usedStorage) return platform::noThreadKey;
    if (onExit != nullptr && hookCount == maxHooks) return platform::noThreadKey;
    const auto key = static_cast<platform::ThreadKey>(usedStorage);
    usedStorage += rounded;
    if (onExit != nullptr) hooks[hookCount++] = {key, onExit};
    return key;
}

void *ZYLPlatform_threadBlock(platform::ThreadKey key)
{
    const Unseen unseen;
    return machine.current->storage + key;
}

void ZYLPlatform_yield()
{
    const Unseen unseen;
    if (machine.isRunning) sim::schedule(sim::Operation::yield);
}

void ZYLPlatform_pause()
{
    const Unseen unseen;
    if (machine.isRunning) sim::schedule(sim::Operation::pause);
}

std::int64_t ZYLPlatform_now_ns()
{
    const Unseen unseen;
    return ++machine.now_ns;
}

namespace platform {

void schedulingPoint()
{
    const Unseen unseen;
    if (machine.isRunning) sim::schedule(sim::Operation::point);
}

void claimFailed(const char *text)
{
    const Unseen unseen;
    sim::fail(text);
}

}  // namespace platform
