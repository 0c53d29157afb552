/// @file
/// The tasks start and stop, executed directly as pool threads and as submitters, with every service below them
/// failing.
#include "AwsTaskFixture.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TaskStartStop : public AwsTaskTest {
protected:
    /// Execute a claimed request's task as the pool thread of that index; thread 1 claimed it last.
    void executeClaimed(DDS_Task_ExecuteFcn task, DDS_Long index, DDS_AsyncWaitSetCompletionToken *token)
    {
        DDS_AWSTaskInfo info = requestOf(nullptr, 2, token);
        info._isClaimed = 1;
        info._lastClaimant = &aws->_threadPool[1];
        const PoolThreadGuise guise(aws, index);
        EXPECT_EQ(task(nullptr, &info), nullptr);
    }
    /// A suspended, started wait set of one with three conditions.
    void createSuspended()
    {
        create(1);
        for (int i = 0; i < 3; ++i) ASSERT_EQ(attach(newCondition()), DDS_RETCODE_OK);
        ASSERT_EQ(setState(DDS_SUSPENDED_AWS_STARTED_STATE), DDS_RETCODE_OK);
        markStarted(aws);
        aws->_isStopInitiated = 1;
        doubles.clear();
    }
    void expectStopped()
    {
        EXPECT_EQ(aws->_isStarted, 0);
        EXPECT_EQ(aws->_isStopInitiated, 0);
        EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
    }
};

TEST_F(TaskStartStop, a_start_elsewhere_than_on_a_pool_thread_is_reported)
{
    create(1);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_start, token), DDS_RETCODE_OK);
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "AsyncWaitSet thread");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    EXPECT_THAT(heard.events(), IsEmpty());
}

TEST_F(TaskStartStop, a_start_makes_every_pool_thread_lead_and_announce_itself)
{
    create(2);
    markStarted(aws);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_start, token), DDS_RETCODE_OK);
    heard.onEvent = [this](const RecordingListener::Event &event) {
        EXPECT_EQ(leadershipDepth(), 1);
        EXPECT_NE(event.threadId, 0U);
    };
    EXPECT_EQ(executeAs(0, false), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("spawned"), 1);
    EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR) << "not complete";
    EXPECT_EQ(executeAs(1, false), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("spawned"), 2);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

TEST_F(TaskStartStop, a_start_is_completed_by_its_last_claimant_only)
{
    create(2);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    token->retCode = DDS_RETCODE_ERROR;
    executeClaimed(DDS_AsyncWaitSetTask_start, 0, token);
    EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    executeClaimed(DDS_AsyncWaitSetTask_start, 1, token);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    executeClaimed(DDS_AsyncWaitSetTask_start, 1, nullptr);
    EXPECT_EQ(heard.count("spawned"), 3);
    while (leadershipDepth() > 0) DDS_AsyncWaitSet_promoteNewLeader(aws, nullptr);
}

TEST_F(TaskStartStop, start_and_stop_complete_at_exactly_the_pool_size)
{
    create(2);
    markStarted(aws);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    for (const std::uint32_t count : {1U, 3U, 2U}) {
        DDS_AWSTaskInfo info = requestOf(nullptr, count, token);
        token->retCode = DDS_RETCODE_ERROR;
        EXPECT_EQ(DDS_AsyncWaitSetTask_stop(nullptr, &info), nullptr);
        EXPECT_EQ(token->retCode, count == 2 ? DDS_RETCODE_OK : DDS_RETCODE_ERROR);
        EXPECT_EQ(aws->_isStarted, count == 2 ? 0 : 1);
        token->retCode = DDS_RETCODE_ERROR;
        const PoolThreadGuise guise(aws);
        EXPECT_EQ(DDS_AsyncWaitSetTask_start(nullptr, &info), nullptr);
        EXPECT_EQ(token->retCode, count == 2 ? DDS_RETCODE_OK : DDS_RETCODE_ERROR);
        DDS_AsyncWaitSet_promoteNewLeader(aws, nullptr);
    }
}

TEST_F(TaskStartStop, a_stop_retires_every_pool_thread_and_stops_with_the_last)
{
    create(2);
    markStarted(aws);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop, token), DDS_RETCODE_OK);
    heard.onEvent = [this](const RecordingListener::Event &event) {
        EXPECT_EQ(event.name, "deleted");
        EXPECT_NE(event.threadId, 0U);
        EXPECT_EQ(leadershipDepth(), 1) << "reported before leadership is given up";
        EXPECT_EQ(aws->_isStarted, 1);
    };
    EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);
    EXPECT_EQ(leadershipDepth(), 0);
    EXPECT_EQ(aws->_isStarted, 1);
    EXPECT_EQ(aws->_isStopInitiated, 1);
    EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("deleted"), 2);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    expectStopped();
    for (const int i : {0, 1}) EXPECT_EQ(acknowledgeStopAs(i), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

TEST_F(TaskStartStop, a_stop_unmasks_what_a_suspend_masked)
{
    createSuspended();
    DDS_AWSTaskInfo info = requestOf(nullptr, 1);
    EXPECT_EQ(DDS_AsyncWaitSetTask_stop(nullptr, &info), nullptr);
    EXPECT_THAT(maskCalls(), ElementsAre("DDS_WaitSet_mask_condition(A, 1)", "DDS_WaitSet_mask_condition(B, 1)",
                                         "DDS_WaitSet_mask_condition(C, 1)"));
    for (HandledGuard &guard : guards) EXPECT_TRUE(takesPart(guard));
    expectStopped();
    EXPECT_THAT(heard.events(), testing::SizeIs(3)) << "only the attaches: the calling thread is no pool thread";
    EXPECT_NO_LOG(log);
}

TEST_F(TaskStartStop, a_stop_of_a_running_wait_set_leaves_the_masks_alone)
{
    create(1);
    EXPECT_EQ(attach(newCondition()), DDS_RETCODE_OK);
    doubles.clear();
    DDS_AWSTaskInfo info = requestOf(nullptr, 1);
    EXPECT_EQ(DDS_AsyncWaitSetTask_stop(nullptr, &info), nullptr);
    EXPECT_THAT(maskCalls(), IsEmpty());
}

TEST_F(TaskStartStop, a_stop_that_cannot_unmask_one_condition_unmasks_the_others)
{
    createSuspended();
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    DDS_AWSTaskInfo info = requestOf(nullptr, 1, token);
    doubles.on("DDS_WaitSet_mask_condition").fail(2);
    EXPECT_EQ(DDS_AsyncWaitSetTask_stop(nullptr, &info), nullptr);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "mask condition");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_TRUE(takesPart(guards[0]));
    EXPECT_FALSE(takesPart(guards[1]));
    EXPECT_TRUE(takesPart(guards[2]));
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    expectStopped();
}

TEST_F(TaskStartStop, a_stop_takes_effect_in_one_critical_section_after_the_masks_and_the_report)
{
    createSuspended();
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    token->retCode = DDS_RETCODE_ERROR;
    const auto expectNothingYet = [&] {
        EXPECT_EQ(aws->_isStarted, 1);
        EXPECT_EQ(aws->_isStopInitiated, 1);
        EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
        EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    };
    heard.onEvent = [&](const RecordingListener::Event &event) {
        EXPECT_EQ(event.name, "deleted");
        EXPECT_THAT(maskCalls(), IsEmpty());
        expectNothingYet();
    };
    area("enter").before(1, [&] {
        EXPECT_EQ(maskCalls().size(), 3U);
        EXPECT_EQ(heard.count("deleted"), 1);
        expectNothingYet();
    });
    area("leave").before(1, [&] {
        EXPECT_EQ(criticalSectionDepth(), 1);
        EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
        expectStopped();
    });
    doubles.clear();
    DDS_AWSTaskInfo info = requestOf(nullptr, 1, token);
    const PoolThreadGuise guise(aws);
    EXPECT_EQ(DDS_AsyncWaitSetTask_stop(nullptr, &info), nullptr);
    EXPECT_EQ(doubles.count("enter"), 1);
    EXPECT_EQ(doubles.count("leave"), 1);
}

TEST_F(TaskStartStop, a_stop_without_the_critical_section_takes_effect_but_is_no_success)
{
    for (const char *const step : {"enter", "leave"}) {
        createSuspended();
        DDS_AsyncWaitSetCompletionToken *const token = newToken();
        token->retCode = DDS_RETCODE_ERROR;
        DDS_AWSTaskInfo info = requestOf(nullptr, 1, token);
        log.clear();
        area(step).fail();
        EXPECT_EQ(DDS_AsyncWaitSetTask_stop(nullptr, &info), nullptr);
        EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, step);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(token->retCode, step == std::string("enter") ? DDS_RETCODE_ERROR : DDS_RETCODE_OK);
        expectStopped();
    }
}

TEST_F(TaskStartStop, a_stop_executed_by_its_submitter_retires_no_thread)
{
    DDS_AsyncWaitSet *const other = createOther(2, 0, &heard);
    create(2);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    const PoolThreadGuise guise(other);
    EXPECT_NE(DDS_AsyncWaitSet_becomeNewLeader(other, guise.thread()), 0);
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop, token), DDS_RETCODE_OK);
    EXPECT_THAT(heard.events(), IsEmpty());
    EXPECT_EQ(VESKWorker_getExclusiveAreaDepth(worker(), other->_threadPoolSynchronizerEA), 1) << "still leads";
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    EXPECT_EQ(aws->_isStopInitiated, 0);
    EXPECT_NE(DDS_AsyncWaitSet_promoteNewLeader(other, guise.thread()), 0);
    EXPECT_NO_LOG(log);
}

}  // namespace
