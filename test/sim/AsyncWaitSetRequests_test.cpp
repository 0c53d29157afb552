/// @file
/// Requests mixed with triggers, handlers and early unlocks.
#include "AwsScenario.hpp"

namespace {

class Requests : public testing::TestWithParam<DDS_UnsignedLong> {};
INSTANTIATE_TEST_SUITE_P(PoolOf, Requests, testing::Values(1U, 2U, 3U));

class ParallelRequests : public testing::TestWithParam<DDS_UnsignedLong> {};
INSTANTIATE_TEST_SUITE_P(PoolOf, ParallelRequests, testing::Values(2U, 3U));

/// Data behind a condition: what was produced and what its handler has seen.
struct Topic {
    std::atomic<int> produced{0};
    std::atomic<int> seen{0};
    Signal handled;
    HandledGuard guard{[this](HandledGuard &) {
        ZYLPlatform_yield();
        seen = produced.load();
        handled.give();
    }};

    void publish()
    {
        ++produced;
        guard.trigger();
    }
    void awaitAll()
    {
        while (seen != produced) handled.take();
    }
};

}  // namespace

TEST_P(Requests, no_trigger_is_lost_and_no_handler_runs_twice_at_once)
{
    forEachSeed(scenarioSeeds, [] {
        Topic topics[3];
        const ScenarioWaitSet aws(GetParam());
        for (Topic &topic : topics)
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_OK);
        {
            SimThread producer("producer", [&] {
                for (int i = 0; i < 6; ++i) topics[i % 3].publish();
            });
            SimThread other("other producer", [&] {
                for (int i = 0; i < 6; ++i) topics[0].publish();
            });
        }
        for (Topic &topic : topics) topic.awaitAll();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        for (Topic &topic : topics) {
            EXPECT_EQ(topic.guard.mostInside, 1);
            EXPECT_EQ(topic.seen, topic.produced);
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
        }
    });
}

TEST_P(Requests, changes_from_several_threads_are_each_carried_out_once)
{
    forEachSeed(scenarioSeeds, [] {
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        Topic topics[2];
        const ScenarioWaitSet aws(GetParam(), 1, &callbacks);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        const auto changeWhileTriggering = [&](Topic &topic) {
            for (int round = 0; round < 2; ++round) {
                EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
                topic.publish();
                topic.awaitAll();
                topic.publish();
                EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
                const int runs = topic.guard.runs;
                EXPECT_EQ(topic.guard.inside, 0) << "detached while its handler runs";
                topic.publish();
                ZYLPlatform_yield();
                EXPECT_EQ(topic.guard.runs, runs) << "dispatched after its detach";
                topic.guard.clear();
            }
        };
        {
            SimThread first("first", [&] { changeWhileTriggering(topics[0]); });
            SimThread second("second", [&] { changeWhileTriggering(topics[1]); });
        }
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("attached"), 4);
        EXPECT_EQ(listener.count("detached"), 4);
    });
}

TEST_P(Requests, what_triggers_while_suspended_is_dispatched_after_resume)
{
    forEachSeed(scenarioSeeds, [] {
        Topic before;
        Topic attachedLater;
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, before.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
        before.publish();
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, attachedLater.guard.condition()), DDS_RETCODE_OK);
        attachedLater.publish();
        ZYLPlatform_yield();
        EXPECT_EQ(before.guard.runs + before.guard.inside, 0);
        EXPECT_EQ(attachedLater.guard.runs + attachedLater.guard.inside, 0);
        EXPECT_EQ(DDS_AsyncWaitSet_resume_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
        before.awaitAll();
        attachedLater.awaitAll();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, before.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, attachedLater.guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, a_handler_submits_requests_to_its_own_wait_set)
{
    forEachSeed(scenarioSeeds, [] {
        Topic added;
        Signal asked;
        DDS_AsyncWaitSet *target = nullptr;
        HandledGuard asking([&](HandledGuard &) {
            EXPECT_EQ(
                DDS_AsyncWaitSet_attach_condition_with_completion_token(target, added.guard.condition(), ignoreToken()),
                DDS_RETCODE_OK);
            asked.give();
        });
        const ScenarioWaitSet aws(GetParam());
        target = aws;
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, asking.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        asking.trigger();
        asked.take();
        added.publish();
        added.awaitAll();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, asking.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, added.guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, a_listener_that_starts_the_pool_from_an_inline_attach_rings_a_doorbell_that_stays_up)
{
    forEachSeed(scenarioSeeds, [] {
        Topic topics[3];
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        const ScenarioWaitSet aws(GetParam(), 1, &callbacks);
        ScenarioToken started(aws);
        ScenarioToken attached(aws);
        bool isFirst = true;
        listener.onEvent = [&](const RecordingListener::Event &event) {
            if (event.name != "attached" || !isFirst) return;
            isFirst = false;
            EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, started), DDS_RETCODE_OK);
            EXPECT_EQ(
                DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, topics[1].guard.condition(), attached),
                DDS_RETCODE_OK);
        };
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topics[0].guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topics[2].guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(started.wait(), DDS_RETCODE_OK);
        EXPECT_EQ(attached.wait(), DDS_RETCODE_OK);
        for (Topic &topic : topics) topic.publish();
        for (Topic &topic : topics) topic.awaitAll();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        for (Topic &topic : topics)
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, nobody_waits_for_the_pool_with_the_critical_section_in_hand)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        Topic topic;
        HandledGuard other;
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        const ScenarioWaitSet aws(GetParam(), 1, &callbacks);
        ScenarioToken started(aws);
        ScenarioToken done(aws);
        bool isFirst = true;
        listener.onEvent = [&](const RecordingListener::Event &event) {
            if (event.name != "attached" || !isFirst) return;
            isFirst = false;
            // A request that is carried out here is done when it returns, so waiting for it does not block.
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, other.condition()), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
            EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
            EXPECT_EQ(aws->_internalTaskQueue._size, 0);
            EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, started), DDS_RETCODE_OK);
            EXPECT_EQ(started.wait(), DDS_RETCODE_PRECONDITION_NOT_MET);
        };
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(started.wait(), DDS_RETCODE_OK);
        topic.publish();
        topic.awaitAll();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, a_leader_that_finds_a_condition_marked_but_unmasked_lets_its_dispatcher_finish)
{
    forEachSeed(scenarioSeeds, [] {
        Signal done;
        HandledGuard guard(
            [&](HandledGuard &self) {
                if (self.runs < 20) return;
                self.clear();
                done.give();
            },
            false);
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        guard.trigger();
        done.take();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(guard.mostInside, 1);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, an_early_unlock_lets_other_threads_in_and_the_leader_does_not_spin_for_ever)
{
    forEachSeed(scenarioSeeds, [] {
        Signal entered;
        Signal release;
        DDS_AsyncWaitSet *target = nullptr;
        HandledGuard guard(
            [&](HandledGuard &self) {
                EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(target, self.condition()), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(target, self.condition()), DDS_RETCODE_OK);
                for (int i = 0; i < 3; ++i) ZYLPlatform_yield();
                if (self.runs >= 3) self.clear();
                entered.give();
            },
            false);
        const ScenarioWaitSet aws(GetParam());
        target = aws;
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        guard.trigger();
        entered.take(4);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_GE(guard.runs, 4);
        EXPECT_LE(guard.mostInside, static_cast<int>(GetParam()));
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(ParallelRequests, a_slow_handler_holds_up_no_other)
{
    forEachSeed(scenarioSeeds, [] {
        Signal slowEntered;
        Signal release;
        HandledGuard slow([&](HandledGuard &) {
            slowEntered.give();
            release.take();
        });
        Topic quick;
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, slow.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, quick.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        slow.trigger();
        slowEntered.take();
        quick.publish();
        quick.awaitAll();
        EXPECT_EQ(slow.inside, 1);
        release.give();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, slow.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, quick.guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, batches_of_events_wake_the_pool_and_strand_nothing)
{
    forEachSeed(scenarioSeeds, [] {
        Topic topics[3];
        DDS_AsyncWaitSetProperty_t property = propertyOf(GetParam());
        property.waitset_property = {5, {3600, 0}};
        const ScenarioWaitSet aws(property);
        for (Topic &topic : topics)
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        {
            SimThread producer("producer", [&] {
                for (int i = 0; i < 4; ++i) topics[i % 3].publish();
            });
            EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_resume_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
        }
        for (Topic &topic : topics) topic.awaitAll();  // an hour of virtual time at most
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        for (Topic &topic : topics)
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Requests, idle_time_outs_are_reported_and_disturb_nothing)
{
    forEachSeed(scenarioSeeds, [] {
        Signal timedOut;
        RecordingListener listener;
        listener.onEvent = [&](const RecordingListener::Event &event) {
            if (event.name == "timeout") timedOut.give();
        };
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        Topic topic;
        DDS_AsyncWaitSetProperty_t property = propertyOf(GetParam());
        property.wait_timeout = {60, 0};
        const ScenarioWaitSet aws(property, &callbacks);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        for (int i = 0; i < 20; ++i) {
            timedOut.take();
            topic.publish();
            topic.awaitAll();
        }
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, topic.guard.condition()), DDS_RETCODE_OK);
    });
}
