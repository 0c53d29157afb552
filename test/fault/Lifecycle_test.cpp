/// @file
/// A whole life under faults, on real threads: create, attach, start, suspend, resume, detach, stop, delete, with the
/// Nth call of a service failing on the application thread, N upward until nothing fails. Everything is reported, a
/// step that failed can be repeated, and nothing stays behind except a token that is kept on purpose.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LifecycleFixture.hpp"

namespace {

using lifecycle::LifecycleFault;

/// A step of the life, with an implicit token.
struct Step {
    const char *name;
    std::function<DDS_ReturnCode_t()> run;
    std::function<bool()> isDone;
    const char *lastMessage;  ///< What its failure says last; null when its code may have to be enough.
};

class LifecycleSteps : public LifecycleFault {
protected:
    Step attach(int index)
    {
        return {"attach", [this, index] { return DDS_AsyncWaitSet_attach_condition(aws, condition(index)); },
                [this, index] { return isAttached(index); }, "DDS_AsyncWaitSet_attach_condition_with_completion_token"};
    }
    Step detach(int index)
    {
        return {"detach", [this, index] { return DDS_AsyncWaitSet_detach_condition(aws, condition(index)); },
                [this, index] { return !isAttached(index); },
                "DDS_AsyncWaitSet_detach_condition_with_completion_token"};
    }
    Step start()
    {
        return {"start", [this] { return DDS_AsyncWaitSet_start(aws); }, [this] { return isStarted(); },
                "DDS_AsyncWaitSet_start_with_completion_token"};
    }
    Step stop()
    {
        return {"stop", [this] { return DDS_AsyncWaitSet_stop(aws); }, [this] { return !isStarted(); },
                "DDS_AsyncWaitSet_stop_with_completion_token"};
    }
    Step suspend()
    {
        return {"suspend", [this] { return DDS_AsyncWaitSet_suspend_with_completion_token(aws, implicitToken()); },
                [this] { return handoffRead(aws->_runningState) == DDS_SUSPENDED_AWS_STARTED_STATE; },
                "submit internal task"};
    }
    Step resume()
    {
        return {"resume", [this] { return DDS_AsyncWaitSet_resume_with_completion_token(aws, implicitToken()); },
                [this] { return handoffRead(aws->_runningState) == DDS_RUNNING_AWS_STARTED_STATE; },
                "submit internal task"};
    }

    /// Run a step. If a fault met it, it has failed, has said so and has done nothing, and succeeds when it is
    /// repeated. Returns: whether it failed.
    bool runUntilDone(const Step &step)
    {
        SCOPED_TRACE(step.name);
        log.clear();
        const int before = doubles.failedCount();
        DDS_ReturnCode_t retCode = step.run();
        const bool hasFailed = doubles.failedCount() != before;
        if (hasFailed) {
            EXPECT_TRUE(retCode == DDS_RETCODE_ERROR || retCode == DDS_RETCODE_OUT_OF_RESOURCES) << retCode;
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, step.lastMessage);
            EXPECT_GE(log.entries().size(), 2U) << "and what failed below";
            EXPECT_EQ(log.count(ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s), 0) << log.print();
            EXPECT_FALSE(step.isDone());
            log.clear();
            retCode = step.run();
        }
        EXPECT_EQ(retCode, DDS_RETCODE_OK);
        EXPECT_NO_LOG(log);
        EXPECT_TRUE(step.isDone());
        return hasFailed;
    }

    /// Run a step whatever comes of it: a fault that met it has been reported, and without one only what the state does
    /// not allow is refused. Returns: whether it succeeded.
    bool runAnyway(const Step &step)
    {
        SCOPED_TRACE(step.name);
        log.clear();
        const int before = doubles.failedCount();
        const DDS_ReturnCode_t retCode = step.run();
        const bool isReported = !log.entries().empty() || (step.lastMessage == nullptr && retCode != DDS_RETCODE_OK);
        EXPECT_TRUE(doubles.failedCount() == before || isReported) << "a failure without a message";
        return retCode == DDS_RETCODE_OK;
    }

    /// A life in which a failed step is repeated. Returns: how many starts have failed with their token lent.
    int liveStubbornly()
    {
        for (const int index : {0, 1, 2}) runUntilDone(attach(index));
        const size_t before = keptTokens().size();
        const bool hasStartFailed = runUntilDone(start());
        const bool wasLent = keptTokens().size() != before;
        EXPECT_TRUE(hasStartFailed || !wasLent);
        expectHandled(1);
        runUntilDone(attach(3));
        runUntilDone(suspend());
        runUntilDone(resume());
        expectHandled(3);
        runUntilDone(detach(1));
        runUntilDone(stop());
        runUntilDone(detach(0));
        return wasLent ? 1 : 0;
    }

    DDS_ReturnCode_t detachWithOwnToken(DDS_AsyncWaitSetCompletionToken *own)
    {
        const DDS_ReturnCode_t retCode =
            DDS_AsyncWaitSet_detach_condition_with_completion_token(aws, condition(2), own);
        // A request that could not be built is no failure to its own token, which nobody will ever tell.
        const bool isRequestMissing = log.count(ZYL_LOG_LEVEL_WARNING, ZYL_LOG_GET_FAILURE_s) != 0;
        if (retCode != DDS_RETCODE_OK || isRequestMissing) return retCode;
        return DDS_AsyncWaitSetCompletionToken_wait(own, &DDS_DURATION_INFINITE);
    }

    /// Run a step while a thread of the pool is in the handler of a condition. Returns: as above.
    bool runBeside(int index, const Step &step)
    {
        hold(index);
        const bool isDone = runAnyway(step);
        letGo();
        return isDone;
    }

    /// A life in which every step is tried once; only a failed start is tried again, or else nothing comes after it. If
    /// nothing fails, two of the steps have to wait, whatever the schedule.
    void liveOnce(bool isStartRepeated)
    {
        const bool isFirstAttached = runAnyway(attach(0));
        const bool isSecondAttached = runAnyway(attach(1));
        runAnyway(attach(2));
        bool isRunning = runAnyway(start());
        if (!isRunning && isStartRepeated) isRunning = runAnyway(start());
        if (!isRunning) return;
        DDS_AsyncWaitSetCompletionToken *const own = DDS_AsyncWaitSet_create_completion_token(aws);
        const bool isAttached = isSecondAttached ? runBeside(1, attach(3)) : runAnyway(attach(3));
        const bool isSuspended = runAnyway(suspend());
        const bool isResumed = runAnyway(resume());
        if (isAttached && isSuspended && isResumed) expectHandled(3);
        if (own != nullptr) {
            runAnyway({"own detach", [&] { return detachWithOwnToken(own); }, {}, nullptr});
            runAnyway({"delete token", [&] { return DDS_AsyncWaitSet_delete_completion_token(aws, own); }, {}, ""});
        }
        runAnyway(detach(1));
        if (isFirstAttached && isSuspended && isResumed)
            runBeside(0, stop());
        else
            runAnyway(stop());
        if (!isStarted() && handoffRead(aws->_queuedRequestCount) == 0) runAnyway(detach(0));
    }

    /// Lives with the Nth block of memory missing, until none is. Returns: the number of lives that met the fault.
    int sweepMemory(DDS_UnsignedLong poolSize)
    {
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE("block " + std::to_string(nth));
            const int before = doubles.failedCount();
            begin(poolSize, heap, nth);
            if (aws == nullptr) {
                EXPECT_FALSE(log.entries().empty());
                expectNothingLeft();
            } else {
                const int lent = liveStubbornly();
                settle();
                EXPECT_EQ(end(), lent);
            }
            if (HasFailure() || doubles.failedCount() == before) return nth - 1;
        }
    }

    /// Lives with the Nth call of a service failing, until none does. Returns: as above.
    int sweep(const std::string &service, bool isStartRepeated, bool isLasting = false)
    {
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(service + " " + std::to_string(nth));
            const int before = doubles.failedCount();
            begin(2, service, nth, isLasting);
            if (aws == nullptr) {
                EXPECT_FALSE(log.entries().empty());
                expectNothingLeft();
            } else {
                liveOnce(isStartRepeated);
                settle();
                end(service != "create_thread");
            }
            if (HasFailure() || doubles.failedCount() == before) return nth - 1;
        }
    }
};

TEST_F(LifecycleSteps, a_life_without_faults_reports_nothing_and_keeps_nothing)
{
    begin(3);
    ASSERT_NE(aws, nullptr);
    EXPECT_EQ(liveStubbornly(), 0);
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(recorder.count("spawned"), 3);
    EXPECT_EQ(recorder.count("deleted"), 3);
    EXPECT_EQ(recorder.count("attached"), 4);
    EXPECT_EQ(recorder.count("detached"), 4);
}

TEST_F(LifecycleSteps, a_step_that_misses_a_block_of_memory_fails_undone_and_can_be_repeated)
{
    EXPECT_GE(sweepMemory(1), 20);
    EXPECT_GE(sweepMemory(3), 22);
}

TEST_F(LifecycleSteps, when_memory_ends_for_good_everything_is_reported_and_deletion_works_once_it_is_back)
{
    EXPECT_GE(sweep(heap, true, true), 20);
    EXPECT_GE(sweep(heap, false, true), 20);
}

TEST_F(LifecycleSteps, no_single_failing_service_leaves_anything_behind)
{
    const struct {
        const char *service;
        int leastCalls;
    } services[] = {{"DDS_WaitSet_set_property", 1},
                    {"DDS_WaitSet_attach_condition", 1},
                    {"DDS_WaitSet_mask_condition", 1},
                    {"DDS_WaitSet_detach_condition", 1},
                    {"DDS_CountingCondition_increment", 1},
                    {"DDS_CountingCondition_decrement", 1},
                    {wait, 2},
                    {"ZYLOsapiSemaphore_give", 1},
                    {"ZYLOsapiSemaphore_drain", 1},
                    {"create_thread", 1}};
    for (const auto &s : services)
        for (const bool isStartRepeated : {true, false})
            ASSERT_GE(sweep(s.service, isStartRepeated), s.leastCalls) << s.service;
}

TEST_F(LifecycleSteps, an_area_that_cannot_be_entered_or_left_once_leaves_nothing_behind)
{
    for (const char *service : {"VESKWorker_enterExclusiveArea", "VESKWorker_leaveExclusiveArea"})
        for (const bool isStartRepeated : {true, false}) ASSERT_GE(sweep(service, isStartRepeated), 10) << service;
}

TEST_F(LifecycleSteps, a_start_whose_nth_thread_is_refused_keeps_its_token_and_can_be_repeated)
{
    for (const int nth : {1, 2, 3}) {
        SCOPED_TRACE(nth);
        begin(3, "create_thread", nth);
        ASSERT_NE(aws, nullptr);
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition(0)), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "processing thread");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_createThread");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_start_with_completion_token");
        EXPECT_FALSE(isStarted());
        EXPECT_EQ(keptTokens().size(), 1U);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(aws->_threadPool[i]._threadHandle != nullptr, i < nth - 1);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        expectHandled(0);
        settle();
        EXPECT_EQ(end(false), 1);
    }
}

TEST_F(LifecycleSteps, a_start_with_an_own_token_whose_nth_thread_is_refused_tells_the_token_and_can_be_deleted)
{
    for (const int nth : {1, 2, 3}) {
        SCOPED_TRACE(nth);
        begin(3, "create_thread", nth);
        ASSERT_NE(aws, nullptr);
        DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(aws);
        ASSERT_NE(token, nullptr);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, token), DDS_RETCODE_ERROR);
        EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE), DDS_RETCODE_ERROR);
        EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
        EXPECT_FALSE(isStarted());
        EXPECT_EQ(end(false), 0);
    }
}

}  // namespace
