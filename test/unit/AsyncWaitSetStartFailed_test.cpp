/// @file
/// What a failed start leaves behind: the threads of a start that failed partway, and the running pool of a start whose
/// wait failed. Nothing of it hangs, delete takes it away, and the next start makes it go first.
// Replaces: DDS_AsyncWaitSetCompletionToken_wait DDS_AsyncWaitSet_returnLoanedCompletionToken
// Replaces: DDS_CountingCondition_increment
#include "StartFixture.hpp"

namespace {

class FailedStart : public StartFixture {
protected:
    /// Make a start fail at the creation of the thread of this index.
    void failAt(int index, DDS_AsyncWaitSetCompletionToken *with)
    {
        factory.refused = index;
        const LogCapture log;
        EXPECT_EQ(start(with), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "processing thread");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_createThread");
        EXPECT_LOG_COUNT(log, 2u);
        factory.refused = -1;
        EXPECT_FALSE(isStarted());
    }

    /// Leave a running pool behind: a start whose wait fails at once.
    void abandon()
    {
        doubles.on("DDS_AsyncWaitSetCompletionToken_wait").fail(1, DDS_RETCODE_TIMEOUT);
        const LogCapture log;
        EXPECT_EQ(start(implicitToken()), DDS_RETCODE_TIMEOUT);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
        EXPECT_FALSE(isStarted());
        EXPECT_EQ(loanCount(), 2);
    }
};

// ---------------------------------------------------------------- a start that failed partway

TEST_F(FailedStart, a_start_that_fails_at_any_thread_can_be_deleted)
{
    for (int poolSize = 1; poolSize <= 3; ++poolSize) {
        for (int index = 0; index < poolSize; ++index) {
            SCOPED_TRACE(LogCapture::format("thread %d of %d", index, poolSize));
            create(static_cast<DDS_UnsignedLong>(poolSize));
            const int createdBefore = factory.created;
            failAt(index, token);
            EXPECT_EQ(factory.created, createdBefore + index);
            EXPECT_EQ(aws->_isPoolFailed, index > 0 ? 1 : 0);
            EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_PROCESSED);
            EXPECT_EQ(outcome(), DDS_RETCODE_ERROR);
            for (int i = 0; i < poolSize; ++i) EXPECT_EQ(aws->_threadPool[i]._threadHandle != nullptr, i < index);
            if (index == 0) {
                EXPECT_EQ(aws->_internalTaskQueue._size, 0);
                EXPECT_EQ(DDS_CountingCondition_get_count(aws->_taskCondition), 0);
            }
            const LogCapture log;  // the threads are let go with an error
            destroy();
            EXPECT_EQ(factory.created, factory.joined);
            EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s), 3 * index);
        }
    }
    EXPECT_EQ(listener.count("spawned"), 0 + (0 + 1) + (0 + 1 + 2));
    EXPECT_EQ(listener.count("deleted"), 0);
}

TEST_F(FailedStart, a_start_that_failed_at_any_thread_can_be_repeated)
{
    for (int poolSize = 1; poolSize <= 3; ++poolSize) {
        for (int index = 0; index < poolSize; ++index) {
            SCOPED_TRACE(LogCapture::format("thread %d of %d", index, poolSize));
            create(static_cast<DDS_UnsignedLong>(poolSize));
            const LogCapture unheard;
            const int spawnedBefore = listener.count("spawned");
            factory.refused = index;
            EXPECT_EQ(start(ignoreToken()), DDS_RETCODE_ERROR);
            EXPECT_EQ(start(token), DDS_RETCODE_ERROR);  // and once more
            EXPECT_EQ(outcome(), DDS_RETCODE_ERROR);
            factory.refused = -1;
            EXPECT_EQ(start(token), DDS_RETCODE_OK);
            EXPECT_EQ(outcome(), DDS_RETCODE_OK);
            EXPECT_EQ(aws->_isPoolFailed, 0);
            EXPECT_EQ(listener.count("spawned"), spawnedBefore + 2 * index + poolSize);
            expectItRunsAndStops();
            destroy();
        }
    }
}

TEST_F(FailedStart, the_threads_of_a_start_that_failed_finish_its_request)
{
    create(3);
    failAt(2, token);
    int queued = 1;
    for (; queued > 0; ZYLOsapiThread_yield()) {
        ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
        queued = aws->_internalTaskQueue._size;
        ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    }
    EXPECT_EQ(listener.count("spawned"), 2);
    ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    EXPECT_EQ(DDS_CountingCondition_get_count(aws->_taskCondition), 0);
    ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    const LogCapture unheard;
    destroy();
}

TEST_F(FailedStart, a_start_that_failed_partway_keeps_its_lent_token_but_can_be_repeated)
{
    create(2);
    failAt(1, implicitToken());
    EXPECT_EQ(loanCount(), 2);
    DDS_AsyncWaitSetCompletionToken *const kept = lent;
    const LogCapture unheard;
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    expectItRunsAndStops();
    EXPECT_EQ(loanCount(), 2);
    lent = kept;
    takeBackLent();
}

TEST_F(FailedStart, conditions_come_and_go_beside_a_pool_that_failed)
{
    create(3);
    HandledGuard guard;
    const LogCapture unheard;
    factory.refused = 2;
    ASSERT_EQ(start(token), DDS_RETCODE_ERROR);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    }
    EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    factory.refused = -1;
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    expectItRunsAndStops();
}

TEST_F(FailedStart, of_two_starts_after_a_failed_one_both_succeed_and_one_creates_the_pool)
{
    create(3);
    const LogCapture unheard;
    factory.refused = 1;
    ASSERT_EQ(start(token), DDS_RETCODE_ERROR);
    factory.refused = -1;
    std::thread other([&] { EXPECT_EQ(start(ignoreToken()), DDS_RETCODE_OK); });
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    other.join();
    EXPECT_EQ(factory.created, 1 + 3);
    expectItRunsAndStops();
}

TEST_F(FailedStart, a_start_that_must_not_wait_for_a_failed_pool_is_refused)
{
    create(2);
    failAt(1, token);
    expectRefusedUnderTheArea();
    expectRefusedByLevel();
    {
        const PoolThreadGuise guise(aws, 1);  // no thread was made for it
        expectRefused();
    }
    EXPECT_EQ(aws->_isPoolFailed, 1);
    const LogCapture unheard;
    destroy();
}

TEST_F(FailedStart, a_start_that_loses_the_area_while_it_retires_a_failed_pool_can_be_repeated)
{
    create(2);
    const struct {
        const char *what;
        std::function<void()> plan;
        int times;
    } cases[] = {{"leave", [&] { leaving().fail(); }, 1},
                 {"enter", [&] { entering().fail(2); }, 1},
                 {"enter", [&] { entering().fail(2).fail(3); }, 2}};
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.times);
        LogCapture log;
        factory.refused = 1;
        ASSERT_EQ(start(token), DDS_RETCODE_ERROR);
        factory.refused = -1;
        const int failedBefore = doubles.failedCount();
        failing.plan();
        EXPECT_EQ(start(token), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, failing.what);
        EXPECT_EQ(doubles.failedCount(), failedBefore + failing.times);
        EXPECT_FALSE(isStarted());
        EXPECT_EQ(depth(), 0);
        EXPECT_EQ(start(token), DDS_RETCODE_OK);
        EXPECT_EQ(outcome(), DDS_RETCODE_OK);
        expectItRunsAndStops();
    }
}

TEST_F(FailedStart, a_start_request_that_no_thread_took_is_dropped)
{
    for (const bool isRestarted : {false, true}) {
        create(3);
        factory.isIdle = true;
        failAt(1, token);
        ASSERT_EQ(aws->_internalTaskQueue._size, 1);
        const auto *const request =
            reinterpret_cast<const DDS_AWSTaskInfo *>(VESKInlineList_getFirst(&aws->_internalTaskQueue));
        EXPECT_EQ(request->_executionCount, 2u);  // as if the two threads that were not made had been there
        EXPECT_EQ(request->_notificationCount, 2u);
        EXPECT_EQ(request->_completionToken, nullptr);
        factory.isIdle = false;
        if (isRestarted) {
            EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
            EXPECT_EQ(listener.count("spawned"), 3);
            expectItRunsAndStops();
        }
        destroy();
    }
}

TEST_F(FailedStart, a_thread_whose_first_claim_finds_no_start_request_ends_at_once)
{
    create(2);
    const auto runFirst = [&] {
        aws->_threadPool[0]._mustClaimStart = 1;
        std::thread([&] { EXPECT_EQ(DDS_AsyncWaitSet_run(&aws->_threadPool[0]), nullptr); }).join();
        EXPECT_EQ(aws->_threadPool[0]._lastRequestCount, 0);
    };
    const LogCapture log(ZYL_LOG_LEVEL_PRECONDITION | ZYL_LOG_LEVEL_WARNING | ZYL_LOG_LEVEL_TRACE);
    runFirst();

    // Not even when something else is queued.
    HandledGuard guard;
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_attachCondition;
    ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    aws->_isStarted = 1;
    ASSERT_EQ(DDS_AsyncWaitSet_submitTaskI(aws, &task, guard.condition(), nullptr), DDS_RETCODE_OK);
    aws->_isStarted = 0;
    ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    DDS_AsyncWaitSetThread_finalize(&aws->_threadPool[0]);
    runFirst();
    EXPECT_EQ(reinterpret_cast<DDS_AWSTaskInfo *>(VESKInlineList_getFirst(&aws->_internalTaskQueue))->_executionCount,
              0u);
    EXPECT_EQ(listener.events().size(), 0u);
    EXPECT_NO_LOG(log);

    // A deletion would wait for that request, which no thread is left to carry out.
    ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    AWS_dropRequest(aws, AWS_firstRequest(aws));
    ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
}

// ---------------------------------------------------------------- a start whose wait failed

TEST_F(FailedStart, a_pool_whose_start_could_not_wait_is_stopped_by_the_next_start)
{
    for (const DDS_UnsignedLong poolSize : {1u, 3u}) {
        const int n = static_cast<int>(poolSize);
        create(poolSize);
        const int before = listener.count("spawned");
        abandon();
        DDS_AsyncWaitSetCompletionToken *const kept = lent;
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("spawned"), before + 2 * n);
        EXPECT_EQ(listener.count("deleted"), before + n);
        expectItRunsAndStops();
        EXPECT_EQ(listener.count("deleted"), before + 2 * n);
        lent = kept;
        takeBackLent();
        destroy();
    }
}

TEST_F(FailedStart, a_pool_whose_start_could_not_wait_is_stopped_by_delete)
{
    create(2);
    doubles.on("DDS_AsyncWaitSet_returnLoanedCompletionToken")
        .instead(1, [](DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *given) {
            EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(self, given), DDS_RETCODE_OK);
            return DDS_RETCODE_ERROR;
        });
    const LogCapture unheard;
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_ERROR);
    destroy();
    EXPECT_EQ(listener.count("spawned"), 2);
    EXPECT_EQ(listener.count("deleted"), 2);
}

TEST_F(FailedStart, a_start_that_must_not_wait_for_an_abandoned_pool_is_refused)
{
    create(2);
    Signal handled;
    HandledGuard guard([&](HandledGuard &) {
        EXPECT_EQ(start(ignoreToken()), DDS_RETCODE_PRECONDITION_NOT_MET);
        handled.give();
    });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    abandon();
    DDS_AsyncWaitSetCompletionToken *const kept = lent;
    expectRefusedUnderTheArea();
    expectRefusedByLevel();
    {
        const LogCapture log;
        guard.trigger();
        handled.take();
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, stopping);
    }
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    EXPECT_EQ(guard.runs, 1);
    expectItRunsAndStops();
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    lent = kept;
    takeBackLent();
}

TEST_F(FailedStart, a_start_that_fails_while_it_retires_an_abandoned_pool_can_be_repeated)
{
    create(2);
    const struct {
        const char *what;
        std::function<void()> plan;
        DDS_ReturnCode_t code;
    } cases[] = {
        {"ring", [&] { doubles.on("DDS_CountingCondition_increment").fail(); }, DDS_RETCODE_PRECONDITION_NOT_MET},
        {"leave", [&] { leaving().fail(); }, DDS_RETCODE_ERROR},
        {"enter", [&] { entering().fail(2); }, DDS_RETCODE_ERROR}};
    for (const auto &failing : cases) {
        SCOPED_TRACE(failing.what);
        abandon();
        DDS_AsyncWaitSetCompletionToken *const kept = lent;
        const LogCapture unheard;
        const int failedBefore = doubles.failedCount();
        failing.plan();
        EXPECT_EQ(start(token), failing.code);
        EXPECT_EQ(doubles.failedCount(), failedBefore + 1);
        EXPECT_EQ(depth(), 0);
        while (isStarted()) ZYLOsapiThread_yield();  // the old pool may still be on its way out
        EXPECT_EQ(start(token), DDS_RETCODE_OK);
        EXPECT_EQ(outcome(), DDS_RETCODE_OK);
        expectItRunsAndStops();
        lent = kept;
        takeBackLent();
    }
    EXPECT_EQ(listener.count("spawned"), listener.count("deleted"));
}

}  // namespace
