/// @file
/// A start that finds threads which have executed a stop and not acknowledged it yet: it waits until they are gone, or
/// is refused where it must not wait.
// Replaces: DDS_AsyncWaitSet_notify_task_executed
#include "StartFixture.hpp"

namespace {

class Restart : public StartFixture {
protected:
    /// Stop, and hold every pool thread just before it acknowledges.
    void stopAndHold()
    {
        doubles.on(notify).onEveryThread().before([this](DDS_AsyncWaitSet *, DDS_AWSTaskInfo *taskInfo) {
            if (taskInfo->_task.execute != DDS_AsyncWaitSetTask_stop) return;
            if (onHold) onHold();
            held.give();
            go.take();
        });
        EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(aws, token), DDS_RETCODE_OK);
        held.take(static_cast<int>(aws->_property.thread_pool_size));
        EXPECT_FALSE(isStarted());
    }
    void letGo()
    {
        for (DDS_UnsignedLong i = 0; i < aws->_property.thread_pool_size; ++i) go.give();
    }

    /// Blocks until so many starts wait for the old pool.
    void awaitStarters(int count)
    {
        for (int waiting = 0; waiting < count; ZYLOsapiThread_yield()) {
            ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
            waiting = aws->_starterList._size;
            ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
        }
    }

    static constexpr const char *notify = "DDS_AsyncWaitSet_notify_task_executed";

    Signal held, go;
    std::function<void()> onHold;  ///< On a pool thread that is held.
};

TEST_F(Restart, a_start_waits_until_every_old_thread_has_acknowledged_its_stop)
{
    for (const DDS_UnsignedLong poolSize : {1u, 3u}) {
        const int n = static_cast<int>(poolSize);
        create(poolSize);
        ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        const int before = factory.created;
        stopAndHold();
        std::thread first([&] { EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK); });
        std::thread second([&] { EXPECT_EQ(start(ignoreToken()), DDS_RETCODE_OK); });
        awaitStarters(2);
        EXPECT_EQ(factory.created, before);
        EXPECT_FALSE(isStarted());
        letGo();
        first.join();
        second.join();
        doubles.on(notify).heal();
        EXPECT_EQ(outcome(), DDS_RETCODE_OK);
        EXPECT_EQ(factory.created, before + n);
        EXPECT_EQ(factory.joined, before);
        expectItRunsAndStops();
        destroy();
    }
}

TEST_F(Restart, a_start_that_must_not_wait_for_leaving_threads_is_refused)
{
    create(2);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    std::atomic<int> refusedCount{0};
    const LogCapture log;
    onHold = [&] {  // on a pool thread of the same wait set; the first one still finds it started
        if (!isStarted() && start(ignoreToken()) == DDS_RETCODE_PRECONDITION_NOT_MET) ++refusedCount;
    };
    stopAndHold();
    EXPECT_GE(refusedCount, 1);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, stopping);
    EXPECT_LOG_COUNT(log, static_cast<std::size_t>(refusedCount));
    letGo();
    EXPECT_EQ(outcome(), DDS_RETCODE_OK);
}

TEST_F(Restart, callers_that_cannot_wait_for_leaving_threads_go_away_and_leave_no_trace)
{
    create(1);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    stopAndHold();
    expectRefusedUnderTheArea();
    DDS_AsyncWaitSetCompletionToken *const second = std::exchange(token, DDS_AsyncWaitSet_create_completion_token(aws));
    const unsigned submissionsBefore = token->_submissionCount;
    expectRefusedByLevel();
    {
        const LogCapture log;
        leaving().fail();
        EXPECT_EQ(start(token), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
        EXPECT_LOG_COUNT(log, 1u);
        EXPECT_EQ(aws->_starterList._size, 0);
        std::thread starter([&] {
            Doubles own;
            own.on("VESKWorker_enterExclusiveArea").with(aws->_criticalSectionEA).fail(2);
            EXPECT_EQ(start(ignoreToken()), DDS_RETCODE_ERROR);
        });
        awaitStarters(1);
        letGo();
        starter.join();
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "enter");
        EXPECT_LOG_COUNT(log, 2u);
    }
    doubles.on(notify).heal();
    EXPECT_EQ(token->_submissionCount, submissionsBefore);
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(second, &DDS_DURATION_INFINITE), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, second), DDS_RETCODE_OK);
    EXPECT_EQ(start(token), DDS_RETCODE_OK);
    expectItRunsAndStops();
}

TEST_F(Restart, starting_and_stopping_again_and_again_leaves_nothing_behind)
{
    create(3);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(start(i % 2 == 0 ? ignoreToken() : implicitToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    }
    EXPECT_EQ(listener.count("spawned"), 300);
    EXPECT_EQ(listener.count("deleted"), 300);
    EXPECT_EQ(factory.created, 300);
}

}  // namespace
