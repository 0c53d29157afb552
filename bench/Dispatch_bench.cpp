/// @file
/// What dispatching costs, each number beside that of a baseline in the same run.
///
/// | subject | baseline |
/// |---|---|
/// | a trigger value that is set already | an uncontended mutex |
/// | trigger to handler and back, the pool idle | the same through a hand-written queue |
/// | handlers per second, the pool busy | tasks per second of the hand-written queue |
/// | a request that every pool thread carries out | a pause of every thread of the hand-written pool |
#include <benchmark/benchmark.h>
#include <dds_c/dds_c_asyncwaitset.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <vector>

#include "QueuePool.hpp"

namespace {

/// A number from a failed operation would be a lie.
void require(bool holds)
{
    if (!holds) std::abort();
}

/// A started wait set.
class WaitSet {
public:
    explicit WaitSet(unsigned threads)
    {
        DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
        property.thread_pool_size = threads;
        _self = DDS_AsyncWaitSet_new(&property);
        require(_self != nullptr && DDS_AsyncWaitSet_start(_self) == DDS_RETCODE_OK);
    }
    ~WaitSet() { DDS_AsyncWaitSet_delete(_self); }
    WaitSet(const WaitSet &) = delete;
    WaitSet &operator=(const WaitSet &) = delete;

    operator DDS_AsyncWaitSet *() const { return _self; }

private:
    DDS_AsyncWaitSet *_self;
};

/// A guard condition whose handler is a function object; attached for its life.
class Guard {
public:
    Guard(const WaitSet &waitSet, std::function<void(Guard &)> handle) : _waitSet(waitSet), _handle(std::move(handle))
    {
        const auto run = [](void *self, DDS_Condition *) {
            static_cast<Guard *>(self)->_handle(*static_cast<Guard *>(self));
        };
        const DDS_ConditionHandler handler{this, run};
        require(DDS_Condition_set_handler(condition(), &handler) == DDS_RETCODE_OK);
        require(DDS_AsyncWaitSet_attach_condition(_waitSet, condition()) == DDS_RETCODE_OK);
    }
    ~Guard()
    {
        DDS_AsyncWaitSet_detach_condition(_waitSet, condition());
        DDS_GuardCondition_delete(_self);
    }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

    void set(bool value) { DDS_GuardCondition_set_trigger_value(_self, value ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE); }

private:
    DDS_Condition *condition() const { return DDS_GuardCondition_as_condition(_self); }

    const WaitSet &_waitSet;
    std::function<void(Guard &)> _handle;
    DDS_GuardCondition *_self = DDS_GuardCondition_new();
};

// --- a trigger value that is set already -----------------------------------------------------------------------------

void set_trigger_value_already_true(benchmark::State &state)
{
    const WaitSet waitSet(1);
    require(DDS_AsyncWaitSet_suspend_with_completion_token(
                waitSet, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT) == DDS_RETCODE_OK);
    Guard guard(waitSet, [](Guard &self) { self.set(false); });
    guard.set(true);
    while (state.KeepRunning()) guard.set(true);
    require(DDS_AsyncWaitSet_resume_with_completion_token(
                waitSet, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT) == DDS_RETCODE_OK);
}
BENCHMARK(set_trigger_value_already_true);

void baseline_uncontended_mutex(benchmark::State &state)
{
    std::mutex mutex;
    while (state.KeepRunning()) {
        const std::lock_guard lock(mutex);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(baseline_uncontended_mutex);

// --- round trip through an idle pool ---------------------------------------------------------------------------------

void trigger_to_handler_round_trip(benchmark::State &state)
{
    const WaitSet waitSet(static_cast<unsigned>(state.range(0)));
    std::binary_semaphore handled(0);
    Guard guard(waitSet, [&](Guard &self) {
        self.set(false);
        handled.release();
    });
    while (state.KeepRunning()) {
        guard.set(true);
        handled.acquire();
    }
}
BENCHMARK(trigger_to_handler_round_trip)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();

void baseline_queue_round_trip(benchmark::State &state)
{
    QueuePool pool(static_cast<unsigned>(state.range(0)));
    std::binary_semaphore handled(0);
    while (state.KeepRunning()) {
        pool.submit([&] { handled.release(); });
        handled.acquire();
    }
}
BENCHMARK(baseline_queue_round_trip)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();

// --- a busy pool -----------------------------------------------------------------------------------------------------

constexpr int conditionCount = 16;
constexpr int batch = 20000;  // handlers in one iteration, so that its beginning and end do not count

/// Conditions that their handlers leave triggered until the batch is done.
void busy_dispatch(benchmark::State &state)
{
    const WaitSet waitSet(static_cast<unsigned>(state.range(0)));
    std::atomic<int> left{0};
    std::binary_semaphore done(0);
    std::vector<std::unique_ptr<Guard>> guards;
    guards.reserve(conditionCount);
    for (int i = 0; i < conditionCount; ++i) {
        guards.push_back(std::make_unique<Guard>(waitSet, [&](Guard &self) {
            const int before = left.fetch_sub(1, std::memory_order_relaxed);
            if (before <= conditionCount) self.set(false);  // one last time for each condition
            if (before == 1) done.release();
        }));
    }
    while (state.KeepRunning()) {
        left.store(batch + conditionCount, std::memory_order_relaxed);
        for (auto &guard : guards) guard->set(true);
        done.acquire();
    }
    state.SetItemsProcessed(state.iterations() * (batch + conditionCount));
}
BENCHMARK(busy_dispatch)->Arg(2)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);

/// As many tasks, each of which submits itself again.
void baseline_busy_queue(benchmark::State &state)
{
    QueuePool pool(static_cast<unsigned>(state.range(0)));
    std::atomic<int> left{0};
    std::binary_semaphore done(0);
    const std::function<void()> task = [&] {
        const int before = left.fetch_sub(1, std::memory_order_relaxed);
        if (before > conditionCount) pool.submit(task);
        if (before == 1) done.release();
    };
    while (state.KeepRunning()) {
        left.store(batch + conditionCount, std::memory_order_relaxed);
        for (int i = 0; i < conditionCount; ++i) pool.submit(task);
        done.acquire();
    }
    state.SetItemsProcessed(state.iterations() * (batch + conditionCount));
}
BENCHMARK(baseline_busy_queue)->Arg(2)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);

// --- a request -------------------------------------------------------------------------------------------------------

void suspend_and_resume(benchmark::State &state)
{
    const WaitSet waitSet(static_cast<unsigned>(state.range(0)));
    while (state.KeepRunning()) {
        require(DDS_AsyncWaitSet_suspend_with_completion_token(
                    waitSet, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT) == DDS_RETCODE_OK);
        require(DDS_AsyncWaitSet_resume_with_completion_token(
                    waitSet, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT) == DDS_RETCODE_OK);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(suspend_and_resume)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();

void baseline_two_pauses(benchmark::State &state)
{
    QueuePool pool(static_cast<unsigned>(state.range(0)));
    while (state.KeepRunning()) {
        pool.pauseAll();
        pool.pauseAll();
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(baseline_two_pauses)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();

}  // namespace
