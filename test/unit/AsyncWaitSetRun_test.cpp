/// @file
/// The main loop of a pool thread, run on the test's own thread: every step, every failing service, and the way out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RunFixture.hpp"

namespace {

using testing::ElementsAre;

// ---------------------------------------------------------------- before the loop

TEST_F(Run, the_body_needs_a_record)
{
    EXPECT_EQ(DDS_AsyncWaitSet_run(nullptr), nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"threadParam == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_THAT(doubles.calls(), ElementsAre());
}

TEST_F(Run, a_thread_makes_its_workers_binds_itself_loops_and_acknowledges_the_stop_last)
{
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_OK);
    executionStops();
    run();
    EXPECT_THAT(doubles.calls(),
                ElementsAre("snprintf", "worker(abcdefghijklmno_aws)", "dds worker(abcdefghijklmnop)", "bind",
                            "execute", "wait", "wake up", "execute", "finalize sequence", "unbind", "notify"));
    EXPECT_EQ(thread->_threadId, ZYLOsapiThread_getCurrentThreadID());
    EXPECT_EQ(thread->_awsWorker, DDS_AsyncWaitSetGlobals_getWorker(aws->_globals));
    EXPECT_STREQ(thread->_awsWorker->_name, "abcdefghijklmno_aws");
    ASSERT_NE(thread->_ddsWorker, nullptr) << "released with the record, not by the thread";
    EXPECT_STREQ(thread->_ddsWorker->_name, "abcdefghijklmnop");
    EXPECT_STREQ(thread->_threadName, "abcdefghijklmnop");
    EXPECT_NO_LOG(log);
}

TEST_F(Run, a_worker_name_that_cannot_be_made_ends_the_thread)
{
    doubles.on("ZYLOsapiUtility_snprintf").fail();
    run();
    expectEndedEarly({"snprintf", "finalize sequence"}, ZYL_LOG_INIT_FAILURE_s, "!init worker name");
    EXPECT_EQ(thread->_awsWorker, nullptr);
}

TEST_F(Run, a_missing_worker_ends_the_thread)
{
    doubles.on("DDS_AsyncWaitSetGlobals_createWorker").fail();
    run();
    expectEndedEarly({"snprintf", "worker(abcdefghijklmno_aws)", "finalize sequence"}, ZYL_LOG_CREATION_FAILURE_ss,
                     "!create worker abcdefghijklmno_aws");
    EXPECT_EQ(thread->_threadId, 0U);
}

TEST_F(Run, a_missing_second_worker_ends_the_thread)
{
    doubles.on("DDS_AsyncWaitSetGlobals_createDdsWorker").fail();
    run();
    expectEndedEarly({"snprintf", "worker(abcdefghijklmno_aws)", "dds worker(abcdefghijklmnop)", "finalize sequence"},
                     ZYL_LOG_CREATION_FAILURE_ss, "!create worker abcdefghijklmnop");
    EXPECT_EQ(thread->_threadId, 0U);
}

TEST_F(Run, a_thread_that_cannot_be_bound_to_its_record_ends)
{
    doubles.on("DDS_AsyncWaitSetGlobals_setThreadSpecific").fail();
    run();
    expectEndedEarly(
        {"snprintf", "worker(abcdefghijklmno_aws)", "dds worker(abcdefghijklmnop)", "bind", "finalize sequence"},
        ZYL_LOG_ANY_FAILURE_s, "!set TSS for this WSCT");
    EXPECT_EQ(thread->_threadId, 0U);
}

TEST_F(Run, a_start_request_that_cannot_be_executed_ends_the_thread)
{
    executionReturns(DDS_RETCODE_ERROR);
    run();
    expectEndedEarly({"snprintf", "worker(abcdefghijklmno_aws)", "dds worker(abcdefghijklmnop)", "bind", "execute",
                      "finalize sequence", "unbind"},
                     ZYL_LOG_ANY_FAILURE_s, "!execute start task. Thread will terminate.");
    EXPECT_EQ(thread->_threadId, ZYLOsapiThread_getCurrentThreadID());
}

TEST_F(Run, a_thread_that_finds_no_start_request_ends_without_a_word)
{
    ASSERT_EQ(DDS_AsyncWaitSet_createThread(aws, 0), DDS_RETCODE_OK);
    doubles.clear();
    waitReturns(DDS_RETCODE_ERROR);  // It must not come to that.
    run();
    EXPECT_EQ(doubles.count(execute), 1);
    EXPECT_EQ(doubles.count(wait), 0);
    EXPECT_EQ(doubles.count(acknowledge), 0);
    EXPECT_TRUE(recorder.events().empty());
    EXPECT_NO_LOG(log);
}

TEST_F(Run, a_thread_that_finds_only_other_requests_leaves_them_alone)
{
    ASSERT_EQ(DDS_AsyncWaitSet_createThread(aws, 0), DDS_RETCODE_OK);
    HandledGuard guard;
    aws->_isStarted = 1;
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), ignoreToken()),
              DDS_RETCODE_OK);
    auto *const request = reinterpret_cast<DDS_AWSTaskInfo *>(VESKInlineList_getFirst(&aws->_internalTaskQueue));
    ASSERT_NE(request, nullptr);
    waitReturns(DDS_RETCODE_ERROR);  // It must not come to that.
    run();
    EXPECT_EQ(request->_executionCount, 0U);
    EXPECT_EQ(VESKInlineList_getFirst(&aws->_internalTaskQueue), &request->_node);
    EXPECT_EQ(doubles.count(wait), 0);
    EXPECT_NO_LOG(log);
    EXPECT_TRUE(recorder.events().empty());

    // A deletion would wait for that request, which no thread is left to carry out.
    ASSERT_TRUE(AWS_enterCriticalSection(aws));
    AWS_dropRequest(aws, request);
    ASSERT_TRUE(AWS_leaveCriticalSection(aws));
}

TEST_F(Run, a_stop_beside_the_start_request_ends_the_thread_before_it_waits)
{
    executionStops();
    run();
    EXPECT_EQ(doubles.count(wait), 0);
    EXPECT_EQ(doubles.calls().back(), "notify");
    EXPECT_NO_LOG(log);
}

// ---------------------------------------------------------------- in the loop

TEST_F(Run, the_wait_uses_the_propertys_time_out_and_one_sequence_that_is_finalized)
{
    std::vector<const DDS_ConditionSeq *> sequences;
    const auto look = [&](DDS_WaitSet *, DDS_ConditionSeq *active, const DDS_Duration_t *timeout) {
        EXPECT_EQ(timeout, &aws->_property.wait_timeout);
        EXPECT_EQ(DDS_ConditionSeq_get_maximum(active), sequences.empty() ? 0 : 4);
        EXPECT_NE(DDS_ConditionSeq_has_ownership(active), DDS_BOOLEAN_FALSE);
        EXPECT_NE(DDS_ConditionSeq_set_maximum(active, 4), DDS_BOOLEAN_FALSE);
        sequences.push_back(active);
        return DDS_RETCODE_OK;
    };
    onWait(look);
    onWait(look);
    executionReturns(DDS_RETCODE_OK);
    executionReturns(DDS_RETCODE_OK);
    executionStops();
    run();
    ASSERT_EQ(sequences.size(), 2U);
    EXPECT_EQ(sequences[0], sequences[1]);
    EXPECT_EQ(dispatched, sequences[0]);
    EXPECT_EQ(doubles.count("DDS_ConditionSeq_finalize"), 1);
}

TEST_F(Run, a_suspended_thread_only_ends_its_wait_and_still_executes_requests)
{
    aws->_runningState = DDS_SUSPENDED_AWS_STARTED_STATE;
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_OK);
    executionStops();
    run();
    EXPECT_THAT(callsOfLoop(),
                ElementsAre("execute", "wait", "end wait", "execute", "finalize sequence", "unbind", "notify"));
    EXPECT_EQ(dispatched, nullptr);
    EXPECT_NO_LOG(log);
}

TEST_F(Run, a_time_out_is_relayed_and_waited_on_without_executing_requests)
{
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_TIMEOUT);
    waitReturns(DDS_RETCODE_TIMEOUT);
    waitReturns(DDS_RETCODE_OK);
    executionStops();
    run();
    EXPECT_THAT(callsOfLoop(), ElementsAre("execute", "wait", "DDS_AsyncWaitSet_onWaitTimeout(0)", "wait",
                                           "DDS_AsyncWaitSet_onWaitTimeout(0)", "wait", "wake up", "execute",
                                           "finalize sequence", "unbind", "notify"));
    EXPECT_EQ(recorder.count("timeout"), 2);
    EXPECT_EQ(recorder.events()[0].threadId, ZYLOsapiThread_getCurrentThreadID());
    EXPECT_NO_LOG(log);
}

TEST_F(Run, a_failing_wait_ends_the_thread_ungracefully)
{
    for (const DDS_ReturnCode_t code : {DDS_RETCODE_ERROR, DDS_RETCODE_OUT_OF_RESOURCES}) {
        log.clear();
        doubles.clear();
        DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(aws->_globals, std::exchange(thread->_ddsWorker, nullptr));
        executionReturns(DDS_RETCODE_OK);
        waitReturns(code);
        run();
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "wait for event. Thread will terminate.");
        expectUngracefulLine();
        EXPECT_LOG_COUNT(log, 2U);
        EXPECT_EQ(doubles.count(execute), 1);
        EXPECT_EQ(doubles.calls().back(), "unbind");
    }
}

TEST_F(Run, requests_that_cannot_be_executed_end_the_thread_ungracefully)
{
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_OK);
    executionReturns(DDS_RETCODE_PRECONDITION_NOT_MET);
    run();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "execute internal tasks. Thread will terminate.");
    expectUngracefulLine();
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(doubles.calls().back(), "unbind");
    EXPECT_EQ(doubles.count(acknowledge), 0);
}

TEST_F(Run, a_stop_found_before_the_failure_is_acknowledged_all_the_same)
{
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_OK);
    executionStops(DDS_RETCODE_ERROR);
    run();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "execute internal tasks. Thread will terminate.");
    expectUngracefulLine();
    EXPECT_EQ(doubles.calls().back(), "notify");
}

TEST_F(Run, a_wake_up_that_found_nothing_lets_another_thread_run)
{
    doubles.on("wake up").heal();
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_OK);
    executionReturns(DDS_RETCODE_OK);
    waitReturns(DDS_RETCODE_OK);
    onExecution([this] {
        thread->_hasFoundWork = 1;
        return DDS_RETCODE_OK;
    });
    waitReturns(DDS_RETCODE_OK);
    executionStops();
    run();
    EXPECT_THAT(callsOfLoop(),
                ElementsAre("execute", "wait", "wake up", "execute", "yield", "wait", "wake up", "execute", "wait",
                            "wake up", "execute", "finalize sequence", "unbind", "notify"));
}

// ---------------------------------------------------------------- the way out

TEST_F(Run, an_acknowledgement_that_fails_is_reported)
{
    executionStops();
    doubles.on(acknowledge).fail();
    run();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "notify request processed");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(RunInPool, a_leaving_thread_passes_the_barriers_of_the_other_requests_before_it_acknowledges)
{
    DDSLog_g_instrumentationMask = UINT32_MAX;
    for (const DDS_Long count : {1, 2, 4}) {
        doubles.clear();
        DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(aws->_globals, std::exchange(thread->_ddsWorker, nullptr));
        thread->_lastRequestCount = count;
        executionStops();
        run();
        std::vector<std::string> expected(static_cast<std::size_t>(count - 1), barrier);
        expected.insert(expected.begin(), {"execute", "finalize sequence"});
        expected.push_back("unbind");
        expected.push_back("notify");
        EXPECT_EQ(callsOfLoop(), expected);
    }
    EXPECT_NO_LOG(log) << "no trace line either";
}

TEST_F(RunInPool, a_leaving_threads_failing_barrier_is_reported_and_the_stop_acknowledged)
{
    thread->_lastRequestCount = 5;
    doubles.on(barrier).fail(2);
    executionStops();
    run();
    EXPECT_EQ(doubles.count(barrier), 2);
    EXPECT_EQ(doubles.calls().back(), "notify");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "barrier wait");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(Run, a_leaving_thread_that_is_alone_passes_no_barrier)
{
    thread->_lastRequestCount = 4;
    executionStops();
    run();
    EXPECT_EQ(doubles.count(barrier), 0);
    EXPECT_EQ(doubles.calls().back(), "notify");
}

TEST_F(Run, a_whole_life_from_start_to_stop)
{
    doubles.on(acknowledge).heal();
    aws->_threadHandler = {aws, DDS_AsyncWaitSet_onWakeUpSingleThread};
    DDS_AsyncWaitSetCompletionToken *const start = DDS_AsyncWaitSet_create_completion_token(aws);
    DDS_AsyncWaitSetCompletionToken *const end = DDS_AsyncWaitSet_create_completion_token(aws);
    HandledGuard guard(
        [&](HandledGuard &) { EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(aws, end), DDS_RETCODE_OK); });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    recorder.onEvent = [&](const RecordingListener::Event &event) {
        EXPECT_EQ(event.threadId, ZYLOsapiThread_getCurrentThreadID());
        EXPECT_EQ(DDS_AsyncWaitSetGlobals_getThreadSpecific(aws->_globals), thread);
    };
    guard.trigger();
    ASSERT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, start), DDS_RETCODE_OK);
    run();
    EXPECT_EQ(guard.runs, 1);
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    ASSERT_EQ(recorder.events().size(), 3U);
    EXPECT_EQ(recorder.events()[0].name, "attached");
    EXPECT_EQ(recorder.events()[1].name, "spawned");
    EXPECT_EQ(recorder.events()[2].name, "deleted");

    DDS_AsyncWaitSetGlobals_setThreadSpecific(aws->_globals, nullptr);
    recorder.onEvent = {};
    for (DDS_AsyncWaitSetCompletionToken *token : {start, end}) {
        EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
    }
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

}  // namespace
