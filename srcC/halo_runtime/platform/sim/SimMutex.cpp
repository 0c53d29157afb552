/// @file
/// Mutexes and condition variables of the simulated machine. A mutex that is given up goes to whoever asks first, not
/// to whoever waited longest.
#include <new>

#include "SimMachine.hpp"

namespace {

using sim::machine;
using sim::stateOf;
using sim::Unseen;

static_assert(sizeof(sim::MutexState) <= sizeof(platform::Mutex::storage));
static_assert(sizeof(sim::ConditionState) <= sizeof(platform::Condition::storage));

/// Become the owner. A mutex that an abandoned thread holds is free.
void take(platform::Mutex &mutex)
{
    sim::MutexState &state = stateOf(mutex);
    while (state.owner != nullptr && !state.owner->isAbandoned) {
        if (!machine.isRunning) sim::stuck("locking mutex", state.name);
        sim::block(sim::Operation::lockBlocked, {sim::WaitKind::mutex, &state, state.name}, platform::noDeadline_ns,
                   false);
    }
    state.owner = machine.current;
    ++machine.current->heldMutexes;
    sim::acquireFrom(&mutex);
}

void give(platform::Mutex &mutex)
{
    sim::MutexState &state = stateOf(mutex);
    if (state.owner != machine.current) {
        sim::fail(std::string("mutex \"") + state.name + "\" is unlocked by a thread that does not hold it");
    }
    sim::releaseTo(&mutex);
    state.owner = nullptr;
    --machine.current->heldMutexes;
    sim::wakeWaiters(sim::WaitKind::mutex, &state);
}

}  // namespace

void ZYLPlatform_initMutex(platform::Mutex &mutex, const char *name)
{
    const Unseen unseen;
    new (mutex.storage) sim::MutexState{name, nullptr};
}

void ZYLPlatform_destroyMutex(platform::Mutex &mutex)
{
    const Unseen unseen;
    const sim::MutexState &state = stateOf(mutex);
    if (state.owner != nullptr && !state.owner->isAbandoned) {
        sim::fail(std::string("mutex \"") + state.name + "\" is destroyed while it is held");
    }
}

void ZYLPlatform_lock(platform::Mutex &mutex) ZYL_NOT_ANALYZED
{
    const Unseen unseen;
    if (machine.isRunning) sim::schedule(sim::Operation::lock);
    take(mutex);
}

void ZYLPlatform_unlock(platform::Mutex &mutex) ZYL_NOT_ANALYZED
{
    const Unseen unseen;
    give(mutex);
    if (machine.isRunning) sim::schedule(sim::Operation::unlock);
}

void ZYLPlatform_initCondition(platform::Condition &condition, const char *name)
{
    const Unseen unseen;
    new (condition.storage) sim::ConditionState{name};
}

void ZYLPlatform_destroyCondition(platform::Condition &condition)
{
    const Unseen unseen;
    const sim::ConditionState &state = stateOf(condition);
    for (const platform::Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        if (thread->wait.kind == sim::WaitKind::condition && thread->wait.object == &state) {
            sim::fail(std::string("condition \"") + state.name + "\" is destroyed while a thread waits for it");
        }
    }
}

void ZYLPlatform_waitCondition(platform::Condition &condition, platform::Mutex &mutex,
                               std::int64_t deadline_ns) ZYL_NOT_ANALYZED
{
    const Unseen unseen;
    const sim::ConditionState &state = stateOf(condition);
    if (!machine.isRunning) {
        if (deadline_ns == platform::noDeadline_ns) sim::stuck("waiting for condition", state.name);
        if (machine.now_ns < deadline_ns) machine.now_ns = deadline_ns;
        return;
    }
    give(mutex);
    sim::block(sim::Operation::wait, {sim::WaitKind::condition, &state, state.name}, deadline_ns, true);
    take(mutex);
}

void ZYLPlatform_wakeAll(platform::Condition &condition)
{
    const Unseen unseen;
    sim::wakeWaiters(sim::WaitKind::condition, &stateOf(condition));
    if (machine.isRunning) sim::schedule(sim::Operation::wake);
}
