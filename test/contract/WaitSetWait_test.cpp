/// @file
/// Waits that block: what ends them, what does not, and what it costs.
#include <atomic>
#include <memory>

#include "PlatformRun.hpp"
#include "SleepWatch.hpp"
#include "WaitSetFixture.hpp"

namespace {

constexpr int producerCount = 3;
constexpr int itemsOfProducer = 40;

/// Data behind a condition, without a lock: the producer publishes, fences and triggers, the handler clears and takes.
struct Source {
    Guard guard;
    std::atomic<int> items{0};
    int taken = 0;

    void produce()
    {
        items.store(items.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        platform::schedulingPoint();
        items.fetch_add(0, std::memory_order_seq_cst);
        guard.set(true);
    }
    void take()
    {
        guard.set(false);
        platform::schedulingPoint();
        taken = items.load(std::memory_order_relaxed);
    }
};

/// Let time pass; how much is a matter of what the next lines need.
void pass(DDS_Duration_t duration)
{
    TestWaitSet nothing;
    Conditions active;
    EXPECT_EQ(DDS_WaitSet_wait(nothing, &active, &duration), DDS_RETCODE_TIMEOUT);
}

TEST(WaitSetWait, a_rise_ends_a_blocked_wait)
{
    onPlatform([] {
        Guard guard;
        Guard other;
        TestWaitSet waitSet;
        waitSet.attach(guard);
        waitSet.attach(other);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        guard.set(true);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
    });
}

TEST(WaitSetWait, attaching_a_triggered_condition_ends_a_blocked_wait)
{
    onPlatform([] {
        Guard guard;
        guard.set(true);
        TestWaitSet waitSet;
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        waitSet.attach(guard);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
    });
}

TEST(WaitSetWait, unmasking_a_triggered_condition_ends_a_blocked_wait)
{
    onPlatform([] {
        SleepWatch sleep;
        Guard guard;
        TestWaitSet waitSet({5, forever});
        waitSet.attach(guard);
        waitSet.mask(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        sleep.clear();
        guard.set(true);
        EXPECT_EQ(sleep.wakeCount(), 0);
        waitSet.unmask(guard);  // One condition of five events would not do, were it not due.
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
    });
}

TEST(WaitSetWait, an_untriggered_doorbell_lets_the_time_pass)
{
    onPlatform([] {
        Counter doorbell;
        TestWaitSet waitSet;
        waitSet.attach(doorbell);
        Conditions active;
        const std::int64_t start_ns = ZYLPlatform_now_ns();
        EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &oneMillisecond), DDS_RETCODE_TIMEOUT);
        EXPECT_GE(ZYLPlatform_now_ns() - start_ns, 1'000'000);
        EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &oneMillisecond), DDS_RETCODE_TIMEOUT);
        doorbell.increment();
        EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &forever), DDS_RETCODE_OK);
        EXPECT_THAT(active.list(), areConditions(doorbell));
        DDS_WaitSet_end_waitI(waitSet);
    });
}

TEST(WaitSetWait, fewer_events_than_wanted_do_not_even_wake_the_sleeper)
{
    onPlatform([] {
        SleepWatch sleep;
        sleep.keepAsleep();
        Counter counter;
        Guard guard;
        TestWaitSet waitSet({5, forever});
        waitSet.attach(counter);
        waitSet.attach(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        sleep.clear();
        counter.increment();
        counter.increment();
        guard.set(true);
        counter.increment();
        EXPECT_EQ(sleep.wakeCount(), 0);
        EXPECT_EQ(waitSet.freshEvents(), 4);
        counter.increment();
        EXPECT_EQ(sleep.wakeCount(), 1);
        sleep.letWake();
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(counter, guard));
    });
}

TEST(WaitSetWait, one_increment_ends_a_batching_wait_only_under_the_immediate_property)
{
    onPlatform([] {
        SleepWatch sleep;
        Counter doorbell;
        TestWaitSet waitSet({5, forever});
        waitSet.attach(doorbell);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        sleep.clear();
        doorbell.increment();
        EXPECT_EQ(sleep.wakeCount(), 0);
        doorbell.decrement();
        waitSet.setProperty(1, forever);
        EXPECT_EQ(sleep.wakeCount(), 0);
        EXPECT_EQ(waitSet.freshEvents(), 0);
        waitSet.awaitSleeper();
        doorbell.increment();
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(doorbell));
    });
}

TEST(WaitSetWait, a_new_property_is_applied_to_the_events_of_a_blocked_wait)
{
    onPlatform([] {
        SleepWatch sleep;
        Guard guards[3];
        TestWaitSet waitSet({5, forever});
        for (Guard &guard : guards) waitSet.attach(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        for (Guard &guard : guards) guard.set(true);
        sleep.clear();
        waitSet.setProperty(4, forever);
        EXPECT_EQ(sleep.wakeCount(), 0);
        waitSet.setProperty(3, forever);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_EQ(waiting.reported().size(), 3U);
    });
}

TEST(WaitSetWait, a_new_delay_is_applied_to_the_events_of_a_blocked_wait)
{
    onPlatform([] {
        Guard guard;
        TestWaitSet waitSet({5, forever});
        waitSet.attach(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        guard.set(true);
        waitSet.setProperty(5, oneMillisecond);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
    });
}

TEST(WaitSetWait, withdrawn_events_do_not_end_a_wait)
{
    onPlatform([] {
        SleepWatch sleep;
        Guard masked;
        Guard detached;
        Guard fallen;
        Guard last;
        TestWaitSet waitSet({2, forever});
        waitSet.attach(masked);
        waitSet.attach(detached);
        waitSet.attach(fallen);
        waitSet.attach(last);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        sleep.clear();
        masked.set(true);
        waitSet.mask(masked);
        detached.set(true);
        waitSet.detach(detached);
        fallen.set(true);
        fallen.set(false);
        last.set(true);
        EXPECT_EQ(sleep.wakeCount(), 0);
        EXPECT_EQ(waitSet.freshEvents(), 1);
        fallen.set(true);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(last, fallen));
    });
}

TEST(WaitSetWait, the_delay_counts_from_the_first_event)
{
    onPlatform([] {
        Guard first;
        Guard second;
        TestWaitSet waitSet({5, oneMillisecond});
        waitSet.attach(first);
        waitSet.attach(second);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        const std::int64_t start_ns = ZYLPlatform_now_ns();
        first.set(true);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_GE(waiting.endTime_ns() - start_ns, 1'000'000);
        EXPECT_THAT(waiting.reported(), areConditions(first));
    });
}

TEST(WaitSetWait, a_delay_of_zero_ends_the_wait_at_the_first_event)
{
    onPlatform([] {
        Guard guard;
        TestWaitSet waitSet({5, noTime});
        waitSet.attach(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        guard.set(true);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
    });
}

TEST(WaitSetWait, the_delay_also_passes_while_nobody_waits)
{
    onPlatform([] {
        Guard guard;
        TestWaitSet waitSet({5, oneMillisecond});
        waitSet.attach(guard);
        guard.set(true);
        pass({0, 2'000'000});
        Conditions active;
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &forever), DDS_RETCODE_OK);
        EXPECT_THAT(active.list(), areConditions(guard));
    });
}

TEST(WaitSetWait, the_time_out_reports_what_has_gathered)
{
    onPlatform([] {
        Guard guard;
        TestWaitSet waitSet({5, oneHour});
        waitSet.attach(guard);
        guard.set(true);
        const std::int64_t start_ns = ZYLPlatform_now_ns();
        Conditions active;
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &oneMillisecond), DDS_RETCODE_OK);
        EXPECT_GE(ZYLPlatform_now_ns() - start_ns, 1'000'000);
        EXPECT_THAT(active.list(), areConditions(guard));
    });
}

TEST(WaitSetWait, a_condition_that_an_earlier_wait_reported_ends_the_next_one_at_once)
{
    onPlatform([] {
        Guard guard;
        TestWaitSet waitSet({5, forever});
        waitSet.attach(guard);
        guard.set(true);
        Conditions active;
        ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &forever), DDS_RETCODE_OK);
        EXPECT_THAT(active.list(), areConditions(guard));
    });
}

TEST(WaitSetWait, one_thread_waits_at_a_time_and_keeps_its_wait_set_alive)
{
    onPlatform([] {
        LogCapture log;
        Guard guard;
        TestWaitSet waitSet;
        waitSet.attach(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        Conditions active;
        EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &forever), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "another wait is in progress on this wait set");
        log.clear();
        DDS_WaitSet_end_waitI(waitSet);  // Nothing to end: the other thread still waits.
        EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "a wait set in which a thread waits cannot be deleted");
        guard.set(true);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
        EXPECT_LOG_COUNT(log, 1);
    });
}

TEST(WaitSetWait, a_blocked_wait_goes_on_without_a_detached_condition)
{
    onPlatform([] {
        SleepWatch sleep;
        Guard detached;
        Guard guard;
        TestWaitSet waitSet;
        waitSet.attach(detached);
        waitSet.attach(guard);
        WaitingThread waiting(waitSet);
        waitSet.awaitSleeper();
        sleep.clear();
        waitSet.detach(detached);
        detached.set(true);
        EXPECT_EQ(sleep.wakeCount(), 0);
        guard.set(true);
        EXPECT_EQ(waiting.join(), DDS_RETCODE_OK);
        EXPECT_THAT(waiting.reported(), areConditions(guard));
    });
}

TEST(WaitSetWait, one_condition_wakes_the_sleepers_of_all_its_wait_sets)
{
    onPlatform([] {
        Guard guard;
        constexpr int count = 6;
        TestWaitSet waitSets[count];
        std::vector<std::unique_ptr<WaitingThread>> waiting;
        for (TestWaitSet &waitSet : waitSets) {
            waitSet.attach(guard);
            waiting.push_back(std::make_unique<WaitingThread>(waitSet));
        }
        for (const TestWaitSet &waitSet : waitSets) waitSet.awaitSleeper();
        guard.set(true);
        for (const auto &thread : waiting) {
            EXPECT_EQ(thread->join(), DDS_RETCODE_OK);
            EXPECT_THAT(thread->reported(), areConditions(guard));
        }
    });
}

/// What a pool does: wait, mask what was reported, end the wait, handle, unmask; while a batching property holds
/// threads back, until the last producer changes it.
TEST(WaitSetWait, a_dispatcher_gets_everything_that_was_published)
{
    onPlatform([] {
        Source sources[producerCount];
        TestWaitSet waitSet({3, forever});
        for (Source &source : sources) waitSet.attach(source.guard);
        std::atomic<int> producersLeft{producerCount};
        struct Producer {
            Source *source;
            TestWaitSet *waitSet;
            std::atomic<int> *producersLeft;
        } producers[producerCount];
        platform::Thread *threads[producerCount];
        for (int i = 0; i < producerCount; ++i) {
            producers[i] = {&sources[i], &waitSet, &producersLeft};
            const auto run = [](void *argument) -> void * {
                auto *const self = static_cast<Producer *>(argument);
                for (int n = 0; n < itemsOfProducer; ++n) self->source->produce();
                if (--*self->producersLeft == 0) self->waitSet->setProperty(1, forever);
                return nullptr;
            };
            threads[i] = ZYLPlatform_createThread({}, run, &producers[i], nullptr);
            ASSERT_NE(threads[i], nullptr);
        }

        int taken = 0;
        Conditions active;
        while (taken < producerCount * itemsOfProducer) {
            ASSERT_EQ(DDS_WaitSet_waitI(waitSet, &active, &forever), DDS_RETCODE_OK);
            ASSERT_GT(DDS_ConditionSeq_get_length(&active), 0);
            DDS_Condition *const picked = DDS_ConditionSeq_get(&active, 0);
            waitSet.mask(picked);
            DDS_WaitSet_end_waitI(waitSet);
            taken = 0;
            for (Source &source : sources) {
                if (picked == source.guard) source.take();
                taken += source.taken;
            }
            waitSet.unmask(picked);
        }
        for (platform::Thread *const thread : threads) ZYLPlatform_joinThread(thread);
        for (const Source &source : sources) EXPECT_EQ(source.taken, itemsOfProducer);
    });
}

TEST(WaitSetWait, nobody_is_woken_when_nobody_sleeps)
{
    onPlatform([] {
        SleepWatch sleep;
        Guard guard;
        TestWaitSet waitSet;
        waitSet.attach(guard);
        sleep.clear();
        guard.set(true);
        waitSet.mask(guard);
        waitSet.unmask(guard);
        waitSet.setProperty(1, noTime);
        EXPECT_EQ(sleep.wakeCount(), 0);
    });
}

}  // namespace
