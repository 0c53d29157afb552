/// @file
/// Threads that have left their pool: what they still do while they end, who joins them, and tokens that outlive their
/// waits.
#include <atomic>

#include "AwsScenario.hpp"

namespace {

/// What a thread does as one of its last acts, when its thread-local objects are destroyed. A handler arms it on its
/// thread. Only one is alive at a time.
class LastAct {
public:
    explicit LastAct(std::function<void()> act) : _act(std::move(act)) { current = this; }
    ~LastAct() { current = nullptr; }
    LastAct(const LastAct &) = delete;
    LastAct &operator=(const LastAct &) = delete;

    static void arm() { *static_cast<std::uintptr_t *>(ZYLPlatform_threadBlock(key())) = 1; }
    int runs() const { return _runs; }
    /// Blocks until that many have run to their end.
    void await(int runs) { _ended.take(runs); }

private:
    static platform::ThreadKey key()
    {
        static const platform::ThreadKey made = ZYLPlatform_createThreadKey(sizeof(void *), [](void *) {
            if (current == nullptr) return;
            current->_act();
            ++current->_runs;
            current->_ended.give();  // it may go now
        });
        return made;
    }
    inline static LastAct *current = nullptr;
    std::function<void()> _act;
    std::atomic<int> _runs{0};
    Signal _ended;
};

/// Let a handler of the started wait set arm the last act of its thread.
void armOnPoolThread(DDS_AsyncWaitSet *aws)
{
    Signal armed;
    HandledGuard guard([&](HandledGuard &) {
        LastAct::arm();
        armed.give();
    });
    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    guard.trigger();
    armed.take();
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
}

/// A started wait set dispatches.
void expectAlive(DDS_AsyncWaitSet *aws)
{
    Signal handled;
    HandledGuard guard([&](HandledGuard &) { handled.give(); });
    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    expectDispatched(guard, handled);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
}

class Leaving : public testing::TestWithParam<DDS_UnsignedLong> {};
INSTANTIATE_TEST_SUITE_P(PoolsOf, Leaving, testing::Values(1U, 2U));

TEST_P(Leaving, a_restart_waits_with_nothing_held_for_what_old_threads_still_do)
{
    forEachSeed(scenarioSeeds, [] {
        HandledGuard guard;
        const ScenarioWaitSet aws(GetParam());
        const LastAct act([&] {
            const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_attach_condition(aws, guard.condition());
            // Refused only while the stop is still on its way.
            EXPECT_TRUE(retCode == DDS_RETCODE_OK || retCode == DDS_RETCODE_PRECONDITION_NOT_MET) << retCode;
        });
        const Quiet quiet;
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        armOnPoolThread(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(act.runs(), 1);
        expectAlive(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Leaving, several_starters_wait_for_the_one_that_joins)
{
    forEachSeed(scenarioSeeds, [] {
        const ScenarioWaitSet aws(GetParam());
        const LastAct act([&] { EXPECT_NE(DDS_AsyncWaitSet_is_started(aws), 2); });
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        armOnPoolThread(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        const Quiet quiet;
        SimThread other("other starter", [&] { EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK); });
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        other.join();
        EXPECT_EQ(act.runs(), 1);
        expectAlive(aws);
    });
}

TEST_P(Leaving, an_old_thread_neither_starts_nor_deletes_its_wait_set)
{
    forEachSeed(scenarioSeeds, [] {
        const ScenarioWaitSet aws(GetParam());
        const LastAct act([&] {
            EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
            // The no-op of a started wait set, as long as the stop of a larger pool is on its way.
            const bool wasStarted = DDS_AsyncWaitSet_is_started(aws) != DDS_BOOLEAN_FALSE;
            const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_start(aws);
            EXPECT_TRUE(retCode == DDS_RETCODE_PRECONDITION_NOT_MET || (wasStarted && retCode == DDS_RETCODE_OK));
        });
        const Quiet quiet;
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        armOnPoolThread(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(act.runs(), 1);
        expectAlive(aws);
    });
}

/// Two wait sets whose old threads start both as their last act: their own refuses always, the other one may.
void startEachOther(DDS_Long levelOfOther, DDS_UnsignedLong poolSize)
{
    const ScenarioWaitSet one(poolSize, 1);
    const ScenarioWaitSet other(poolSize, levelOfOther);
    LastAct act([&] {
        for (DDS_AsyncWaitSet *const aws : {one.operator DDS_AsyncWaitSet *(), other.operator DDS_AsyncWaitSet *()}) {
            const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_start(aws);
            EXPECT_TRUE(retCode == DDS_RETCODE_OK || retCode == DDS_RETCODE_PRECONDITION_NOT_MET) << retCode;
        }
    });
    const Quiet quiet;
    EXPECT_EQ(DDS_AsyncWaitSet_start(one), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_start(other), DDS_RETCODE_OK);
    armOnPoolThread(one);
    armOnPoolThread(other);
    SimThread stopper("stopper", [&] { static_cast<void>(DDS_AsyncWaitSet_stop(other)); });
    static_cast<void>(DDS_AsyncWaitSet_stop(one));
    stopper.join();
    act.await(2);
}

TEST_P(Leaving, old_threads_that_start_each_other_s_wait_sets_do_not_wait_in_a_circle)
{
    forEachSeed(scenarioSeeds, [] { startEachOther(1, GetParam()); });
    forEachSeed(scenarioSeeds, [] { startEachOther(2, GetParam()); });
}

/// A factory whose threads go on living after the body has returned, as those of a thread pool do.
class KeepingFactory {
public:
    explicit KeepingFactory(std::function<void()> afterwards) : _afterwards(std::move(afterwards)) {}
    DDS_ThreadFactory factory() { return {this, create, release}; }

private:
    struct Kept {
        Signal hasReturned;
        std::unique_ptr<SimThread> thread;
    };
    static void *create(void *self, const char *name, const DDS_ThreadSettings_t *, void *(*body)(void *),
                        void *argument)
    {
        auto &factory = *static_cast<KeepingFactory *>(self);
        auto kept = std::make_unique<Kept>();
        Kept *const record = kept.get();
        factory._kept.push_back(std::move(kept));
        record->thread = std::make_unique<SimThread>(name, [&factory, record, body, argument] {
            body(argument);
            record->hasReturned.give();
            factory._afterwards();
        });
        return record;
    }
    static void release(void *, void *thread) { static_cast<Kept *>(thread)->hasReturned.take(); }

    std::function<void()> _afterwards;
    std::vector<std::unique_ptr<Kept>> _kept;  // their threads are joined when this goes
};

TEST_P(Leaving, a_thread_that_its_factory_keeps_is_an_application_thread_again)
{
    forEachSeed(scenarioSeeds, [] {
        HandledGuard guard;
        const ScenarioWaitSet low(GetParam(), 1);
        EXPECT_EQ(DDS_AsyncWaitSet_start(low), DDS_RETCODE_OK);
        {
            KeepingFactory keeping([&] {
                // Of a lower level than the pool that it has left: a pool thread would be refused.
                EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(low, guard.condition()), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(low, guard.condition()), DDS_RETCODE_OK);
            });
            const DDS_ThreadFactory factory = keeping.factory();
            const ScenarioWaitSet high(propertyOf(GetParam(), 3), nullptr, &factory);
            EXPECT_EQ(DDS_AsyncWaitSet_start(high), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_stop(high), DDS_RETCODE_OK);
        }
        EXPECT_EQ(DDS_AsyncWaitSet_stop(low), DDS_RETCODE_OK);
    });
}

TEST_P(Leaving, a_short_form_in_a_handler_is_carried_out_and_its_token_comes_home)
{
    forEachSeed(scenarioSeeds, [] {
        HandledGuard attached;
        const ScenarioWaitSet aws(GetParam());
        Signal refused;
        HandledGuard guard([&](HandledGuard &) {
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, attached.condition()), DDS_RETCODE_PRECONDITION_NOT_MET);
            refused.give();
        });
        const Quiet quiet;
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        guard.trigger();
        refused.take();
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(sharedRead(aws->_loanedCompletionTokenCount), 0);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, attached.condition()), DDS_RETCODE_OK) << "it was carried out";
    });
}

TEST_P(Leaving, a_stop_from_a_handler_lets_the_wait_set_be_deleted_at_once)
{
    forEachSeed(scenarioSeeds, [] {
        DDS_AsyncWaitSet *self = nullptr;
        Signal refused;
        HandledGuard stopping([&](HandledGuard &) {
            EXPECT_EQ(DDS_AsyncWaitSet_stop(self), DDS_RETCODE_PRECONDITION_NOT_MET);
            refused.give();
        });
        const ScenarioWaitSet aws(GetParam());
        self = aws;
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, stopping.condition()), DDS_RETCODE_OK);
        const Quiet quiet;
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        stopping.trigger();
        refused.take();
        while (DDS_AsyncWaitSet_is_started(aws) != DDS_BOOLEAN_FALSE) ZYLPlatform_yield();
        // The scenario's end deletes it: while threads are still on their way out, and expects that to work.
    });
}

}  // namespace
