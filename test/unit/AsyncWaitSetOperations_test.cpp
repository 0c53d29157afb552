/// @file
/// The verbs except start: their checks in order, what they submit, what they trace, and what they make of a failure.
/// Submission is replaced where a test wants to see or to decide what happens there.
// Replaces: DDS_AsyncWaitSet_submit_task VESKWorker_enterExclusiveArea
#include <gmock/gmock.h>

#include <memory>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "Signal.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

const char *const submitTask = "DDS_AsyncWaitSet_submit_task";

/// What reached submission last.
struct Submission {
    DDS_AsyncWaitSet *self = nullptr;
    DDS_Task task = {};
    void *userData = nullptr;
    DDS_AsyncWaitSetCompletionToken *token = nullptr;
};

/// A verb with everything that tells it from the others.
struct Verb {
    const char *name;
    DDS_ReturnCode_t (*call)(DDS_AsyncWaitSet *, DDS_Condition *, DDS_AsyncWaitSetCompletionToken *);
    const char *trace;
    DDS_Task_ExecuteFcn execute;
    bool takesCondition;
    bool needsStarted;
    int state;  ///< What travels as user data when no condition does.
};

const Verb verbs[] = {
    {"DDS_AsyncWaitSet_attach_condition_with_completion_token", DDS_AsyncWaitSet_attach_condition_with_completion_token,
     "sending attach condition request", DDS_AsyncWaitSetTask_attachCondition, true, false, 0},
    {"DDS_AsyncWaitSet_detach_condition_with_completion_token", DDS_AsyncWaitSet_detach_condition_with_completion_token,
     "sending detach condition request", DDS_AsyncWaitSetTask_detachCondition, true, false, 0},
    {"DDS_AsyncWaitSet_stop_with_completion_token",
     [](DDS_AsyncWaitSet *self, DDS_Condition *, DDS_AsyncWaitSetCompletionToken *token) {
         return DDS_AsyncWaitSet_stop_with_completion_token(self, token);
     },
     "sending stop request", DDS_AsyncWaitSetTask_stop, false, false, 0},
    {"DDS_AsyncWaitSet_suspend_with_completion_token",
     [](DDS_AsyncWaitSet *self, DDS_Condition *, DDS_AsyncWaitSetCompletionToken *token) {
         return DDS_AsyncWaitSet_suspend_with_completion_token(self, token);
     },
     "sending set_state request", DDS_AsyncWaitSetTask_setState, false, true, 0},
    {"DDS_AsyncWaitSet_resume_with_completion_token",
     [](DDS_AsyncWaitSet *self, DDS_Condition *, DDS_AsyncWaitSetCompletionToken *token) {
         return DDS_AsyncWaitSet_resume_with_completion_token(self, token);
     },
     "sending set_state request", DDS_AsyncWaitSetTask_setState, false, true, 1},
};

/// The short forms of the first three verbs.
const struct {
    const char *name;
    DDS_ReturnCode_t (*call)(DDS_AsyncWaitSet *, DDS_Condition *);
} shortForms[] = {
    {"DDS_AsyncWaitSet_attach_condition", DDS_AsyncWaitSet_attach_condition},
    {"DDS_AsyncWaitSet_detach_condition", DDS_AsyncWaitSet_detach_condition},
    {"DDS_AsyncWaitSet_stop", [](DDS_AsyncWaitSet *self, DDS_Condition *) { return DDS_AsyncWaitSet_stop(self); }},
};

class Operations : public testing::Test {
protected:
    void SetUp() override
    {
        doubles.on(submitTask)
            .before(
                [this](DDS_AsyncWaitSet *self, DDS_Task *task, void *userData, DDS_AsyncWaitSetCompletionToken *with) {
                    submission = {self, *task, userData, with};
                });
        blockCount = ZYLOsapiHeap_getBlockCount();
        guard = std::make_unique<HandledGuard>();
        create(2);
    }

    void TearDown() override
    {
        doubles.heal();
        if (token != nullptr) {
            EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
        }
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        guard.reset();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount);
    }

    void create(DDS_UnsignedLong poolSize)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        const DDS_AsyncWaitSetListener hearing = listener.listener();
        aws = DDS_AsyncWaitSet_new_with_listener(&property, &hearing);
        token = DDS_AsyncWaitSet_create_completion_token(aws);
    }

    /// Nothing is really submitted any more.
    void submissionReturns(DDS_ReturnCode_t code)
    {
        doubles.on(submitTask).instead([code] { return code; });
    }
    /// Make the verbs believe that the pool runs; submission must be answered by the test.
    void pretendStarted(bool isStarted) { aws->_isStarted = isStarted ? 1 : 0; }
    DDS_Condition *condition() const { return guard->condition(); }
    int loanCount() const { return aws->_loanedCompletionTokenCount; }

    Doubles doubles;
    Submission submission;
    std::size_t blockCount = 0;
    RecordingListener listener;
    std::unique_ptr<HandledGuard> guard;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetCompletionToken *token = nullptr;
};

// ---------------------------------------------------------------- checks, in their order

TEST_F(Operations, a_null_wait_set_is_reported_before_everything_else)
{
    const LogCapture log(0xff);
    for (const Verb &verb : verbs) EXPECT_EQ(verb.call(nullptr, nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    for (const auto &form : shortForms) EXPECT_EQ(form.call(nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(nullptr), DDS_BOOLEAN_FALSE);
    EXPECT_LOG_COUNT(log, 9u);
    EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s), 9);
    for (const LogCapture::Entry &entry : log.entries()) EXPECT_EQ(entry.text, "!bad parameter: self");
    for (int i = 0; i < 5; ++i) EXPECT_EQ(log.entries()[static_cast<std::size_t>(i)].function, verbs[i].name);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(log.entries()[static_cast<std::size_t>(5 + i)].function, shortForms[i].name);
    EXPECT_EQ(log.entries()[8].function, "DDS_AsyncWaitSet_is_started");
    EXPECT_EQ(doubles.count(submitTask), 0);
}

TEST_F(Operations, a_null_condition_is_reported_before_a_null_token)
{
    const LogCapture log(0xff);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(verbs[i].call(aws, nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_EQ(shortForms[i].call(aws, nullptr), DDS_RETCODE_BAD_PARAMETER);
    }
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "condition");
    EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s), 4);
    ASSERT_EQ(log.entries().size(), 4u);
    for (const LogCapture::Entry &entry : log.entries()) EXPECT_EQ(entry.text, "!bad parameter: condition");
    EXPECT_EQ(log.entries()[0].function, verbs[0].name);
    EXPECT_EQ(log.entries()[1].function, shortForms[0].name);  // by the short form itself
    EXPECT_EQ(doubles.count(submitTask), 0);
}

TEST_F(Operations, a_null_token_is_a_bad_parameter)
{
    for (const Verb &verb : verbs) {
        SCOPED_TRACE(verb.name);
        const LogCapture log(0xff);
        EXPECT_EQ(verb.call(aws, condition(), nullptr), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "completion_token");
        EXPECT_LOG_COUNT(log, 1u);
    }
    EXPECT_EQ(doubles.count(submitTask), 0);
}

TEST_F(Operations, only_stop_refuses_to_be_ignored)
{
    submissionReturns(DDS_RETCODE_OK);
    pretendStarted(true);
    for (const Verb &verb : verbs) {
        SCOPED_TRACE(verb.name);
        const LogCapture log;
        const bool isStop = verb.execute == DDS_AsyncWaitSetTask_stop;
        EXPECT_EQ(verb.call(aws, condition(), ignoreToken()), isStop ? DDS_RETCODE_BAD_PARAMETER : DDS_RETCODE_OK);
        EXPECT_LOG_COUNT(log, isStop ? 1u : 0u);
        if (isStop)
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s,
                       "completion_token. NIL is not allowed for stop");
        else
            EXPECT_EQ(submission.token, ignoreToken());
    }
    EXPECT_EQ(doubles.count(submitTask), 4);
    pretendStarted(false);
}

// ---------------------------------------------------------------- what is submitted

TEST_F(Operations, every_verb_traces_and_submits_its_task_with_the_token_it_was_given)
{
    submissionReturns(DDS_RETCODE_OK);
    pretendStarted(true);
    const auto id = static_cast<unsigned long long>(ZYLOsapiThread_getCurrentThreadID());
    for (const Verb &verb : verbs) {
        SCOPED_TRACE(verb.name);
        for (DDS_AsyncWaitSetCompletionToken *const given : {token, implicitToken()}) {
            const LogCapture log(0xff);
            EXPECT_EQ(verb.call(aws, condition(), given), DDS_RETCODE_OK);
            EXPECT_TRACE(log, ZYL_LOG_LEVEL_TRACE, LogCapture::format("[AWS|%llu]: %s\n", id, verb.trace));
            EXPECT_LOG_COUNT(log, 1u);
            EXPECT_EQ(submission.self, aws);
            EXPECT_EQ(submission.task.execute, verb.execute);
            EXPECT_EQ(submission.task.taskData, nullptr);
            EXPECT_EQ(submission.token, given);
            if (verb.takesCondition)
                EXPECT_EQ(submission.userData, condition());
            else
                EXPECT_EQ(ZYLOsapiUtility_pointerToInt(submission.userData), verb.state);
        }
    }
    pretendStarted(false);
}

TEST_F(Operations, a_failed_submission_is_reported_and_its_code_returned_unchanged)
{
    pretendStarted(true);
    for (const Verb &verb : verbs) {
        for (const DDS_ReturnCode_t code :
             {DDS_RETCODE_ERROR, DDS_RETCODE_PRECONDITION_NOT_MET, DDS_RETCODE_OUT_OF_RESOURCES, DDS_RETCODE_TIMEOUT}) {
            SCOPED_TRACE(verb.name);
            submissionReturns(code);
            const LogCapture log;
            EXPECT_EQ(verb.call(aws, condition(), token), code);
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "submit internal task");
            EXPECT_LOG_COUNT(log, 1u);
            EXPECT_EQ(log.entries()[0].function, verb.name);
        }
    }
    pretendStarted(false);
}

TEST_F(Operations, short_forms_wait_implicitly_and_name_the_token_form_that_failed)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(shortForms[i].name);
        submissionReturns(DDS_RETCODE_OK);
        {
            const LogCapture log;
            EXPECT_EQ(shortForms[i].call(aws, condition()), DDS_RETCODE_OK);
            EXPECT_NO_LOG(log);
            EXPECT_EQ(submission.token, implicitToken());
            EXPECT_EQ(submission.task.execute, verbs[i].execute);
        }
        submissionReturns(DDS_RETCODE_OUT_OF_RESOURCES);
        const LogCapture log;
        EXPECT_EQ(shortForms[i].call(aws, condition()), DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "submit internal task");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, verbs[i].name);
        EXPECT_LOG_COUNT(log, 2u);
        EXPECT_EQ(log.entries()[1].function, shortForms[i].name);
    }
}

// ---------------------------------------------------------------- not started

TEST_F(Operations, suspend_and_resume_are_refused_with_a_notice_while_not_started)
{
    for (const Verb &verb : verbs) {
        if (!verb.needsStarted) continue;
        SCOPED_TRACE(verb.name);
        const LogCapture log(0xff);
        EXPECT_EQ(verb.call(aws, nullptr, token), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, ZYL_LOG_ANY_s, "AWS is not started");
        EXPECT_LOG_COUNT(log, 1u);
    }
    EXPECT_EQ(doubles.count(submitTask), 0);
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
}

TEST_F(Operations, suspend_and_resume_are_refused_when_a_stop_comes_between_check_and_submission)
{
    for (const Verb &verb : verbs) {
        if (!verb.needsStarted) continue;
        for (DDS_AsyncWaitSetCompletionToken *const given : {token, ignoreToken(), implicitToken()}) {
            SCOPED_TRACE(verb.name);
            ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
            doubles.on(submitTask).before(1, [&] { EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK); });
            const LogCapture log(0x7);
            EXPECT_EQ(verb.call(aws, nullptr, given), DDS_RETCODE_PRECONDITION_NOT_MET);
            EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, ZYL_LOG_ANY_s, "AWS is not started");
            EXPECT_LOG_COUNT(log, 1u);
            EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
            EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
            EXPECT_EQ(loanCount(), 1);
        }
    }
}

TEST_F(Operations, a_set_state_task_submitted_directly_does_not_need_a_started_wait_set)
{
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_setState;
    EXPECT_EQ(DDS_AsyncWaitSet_submit_task(aws, &task, ZYLOsapiUtility_intToPointer(0), token), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_ZERO), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
}

TEST_F(Operations, attach_detach_and_stop_are_complete_on_return_while_not_started)
{
    const LogCapture log;
    const auto isProcessed = [&] { return token->_state == DDS_AsyncWaitSetCompletionTokenState_PROCESSED; };
    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, condition(), token), DDS_RETCODE_OK);
    EXPECT_TRUE(isProcessed());
    EXPECT_NE(DDS_AsyncWaitSet_lookUpConditionInfo(aws, condition()), nullptr);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition_with_completion_token(aws, condition(), token), DDS_RETCODE_OK);
    EXPECT_TRUE(isProcessed());
    EXPECT_EQ(DDS_AsyncWaitSet_lookUpConditionInfo(aws, condition()), nullptr);
    EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(aws, token), DDS_RETCODE_OK);
    EXPECT_TRUE(isProcessed());
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_ZERO), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(listener.count("attached"), 1);
    EXPECT_EQ(listener.count("detached"), 1);
    EXPECT_EQ(listener.count("deleted"), 0);
    EXPECT_NO_LOG(log);
}

TEST_F(Operations, attaching_twice_and_detaching_what_is_not_attached_change_nothing)
{
    for (const bool isStarted : {false, true}) {
        if (isStarted) {
            ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        }
        const int before = listener.count("attached");
        const LogCapture log;
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition()), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("attached"), before + 1);
        EXPECT_EQ(aws->_conditionInfoList._size, 1);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, condition()), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("detached"), before + 1);
        EXPECT_EQ(aws->_conditionInfoList._size, 0);
        EXPECT_NO_LOG(log);
    }
}

// ---------------------------------------------------------------- started

TEST_F(Operations, is_started_is_true_exactly_between_start_and_stop_and_takes_no_lock)
{
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    aws->_isStarted = 2;
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_TRUE);
    aws->_isStarted = 0;
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(doubles.count("VESKWorker_enterExclusiveArea"), 0);

    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    VESKWorker *const worker = DDS_AsyncWaitSetGlobals_getWorker(aws->_globals);
    ASSERT_NE(VESKWorker_enterExclusiveArea(worker, nullptr, aws->_criticalSectionEA), 0);
    std::thread([&] { EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_TRUE); }).join();
    ASSERT_NE(VESKWorker_leaveExclusiveArea(worker, nullptr, aws->_criticalSectionEA), 0);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
}

TEST_F(Operations, a_suspended_wait_set_dispatches_nothing_until_it_is_resumed)
{
    for (const DDS_UnsignedLong poolSize : {1u, 2u}) {
        ASSERT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        create(poolSize);
        Signal handled;
        HandledGuard observed([&](HandledGuard &) { handled.give(); });
        HandledGuard late([&](HandledGuard &) { handled.give(); });
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, observed.condition()), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        for (int i = 0; i < 2; ++i)  // the second time changes nothing
            EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
        EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
        observed.trigger();
        late.trigger();
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, late.condition()), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, late.condition()), DDS_RETCODE_OK);  // the pool goes around
        EXPECT_EQ(observed.runs, 0);
        EXPECT_EQ(late.runs, 0);

        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(DDS_AsyncWaitSet_resume_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
        EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
        handled.take(2);
        ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(observed.runs, 1);
        EXPECT_EQ(late.runs, 1);
        ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(aws, observed.condition()), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(aws, late.condition()), DDS_RETCODE_OK);
    }
}

TEST_F(Operations, a_token_is_told_when_the_pool_has_done_the_request)
{
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    for (const Verb &verb : verbs) {
        SCOPED_TRACE(verb.name);
        if (verb.execute == DDS_AsyncWaitSetTask_stop) continue;
        EXPECT_EQ(verb.call(aws, condition(), token), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE), DDS_RETCODE_OK);
        EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_PROCESSED);
    }
    EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(aws, token), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(listener.count("deleted"), 2);
}

}  // namespace
