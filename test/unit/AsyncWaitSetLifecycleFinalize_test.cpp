/// @file
/// Tearing the record down: the order of the steps, what each failing step leaves, and that the step may be repeated.

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiHeap_freeMemoryInternal ZYLOsapiUtility_strncpy
// Replaces: ZYLOsapiUtility_strncat VESKFastBufferPool_newWithParams VESKFastBufferPool_delete
// Replaces: VESKWorkerFactory_createExclusiveAreaEx VESKWorkerFactory_destroyExclusiveArea DDS_WaitSet_newI
// Replaces: DDS_WaitSet_attach_condition DDS_WaitSet_delete DDS_CountingCondition_newI DDS_CountingCondition_delete
// Replaces: ZYLOsapiBarrier_new ZYLOsapiBarrier_delete DDS_AsyncWaitSetThread_initialize
// Replaces: DDS_AsyncWaitSet_stop_with_completion_token DDS_AsyncWaitSet_detach_condition
// Replaces: DDS_AsyncWaitSet_delete_completion_token DDS_AsyncWaitSetThread_finalize
// Replaces: DDS_AsyncWaitSetProperty_t_finalize DDS_CountingCondition_increment
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "CreationServices.hpp"
#include "dds_c/dds_c_log.h"

extern "C" {

DDS_ReturnCode_t __real_DDS_AsyncWaitSet_stop_with_completion_token(DDS_AsyncWaitSet *self,
                                                                    DDS_AsyncWaitSetCompletionToken *token);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_stop_with_completion_token(DDS_AsyncWaitSet *self,
                                                                    DDS_AsyncWaitSetCompletionToken *token)
{
    if (ServiceCalls::fails("stop", token == implicitToken() ? "implicit" : "other")) return DDS_RETCODE_TIMEOUT;
    return __real_DDS_AsyncWaitSet_stop_with_completion_token(self, token);
}
DDS_ReturnCode_t __real_DDS_AsyncWaitSet_detach_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_detach_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition)
{
    if (ServiceCalls::fails("detach", creation::nameOf(condition))) return DDS_RETCODE_OUT_OF_RESOURCES;
    return __real_DDS_AsyncWaitSet_detach_condition(self, condition);
}
DDS_ReturnCode_t __real_DDS_AsyncWaitSet_delete_completion_token(DDS_AsyncWaitSet *self,
                                                                 DDS_AsyncWaitSetCompletionToken *token);
/// A failing deletion deletes the token and reports an error.
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_delete_completion_token(DDS_AsyncWaitSet *self,
                                                                 DDS_AsyncWaitSetCompletionToken *token)
{
    const bool isFailing = ServiceCalls::fails("delete token");
    const DDS_ReturnCode_t retCode = __real_DDS_AsyncWaitSet_delete_completion_token(self, token);
    return isFailing ? DDS_RETCODE_ERROR : retCode;
}
void __real_DDS_AsyncWaitSetThread_finalize(struct DDS_AsyncWaitSetThread *self);
void __wrap_DDS_AsyncWaitSetThread_finalize(struct DDS_AsyncWaitSetThread *self)
{
    ServiceCalls::fails("thread", std::to_string(self - self->_owner->_threadPool));
    __real_DDS_AsyncWaitSetThread_finalize(self);
}
DDS_ReturnCode_t __real_DDS_AsyncWaitSetProperty_t_finalize(struct DDS_AsyncWaitSetProperty_t *self);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSetProperty_t_finalize(struct DDS_AsyncWaitSetProperty_t *self)
{
    ServiceCalls::fails("property");
    return __real_DDS_AsyncWaitSetProperty_t_finalize(self);
}
DDS_ReturnCode_t __real_DDS_CountingCondition_increment(DDS_CountingCondition *self, DDS_Long amount);
DDS_ReturnCode_t __wrap_DDS_CountingCondition_increment(DDS_CountingCondition *self, DDS_Long amount)
{
    if (ServiceCalls::fails("increment")) return DDS_RETCODE_ERROR;
    return __real_DDS_CountingCondition_increment(self, amount);
}
}

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

/// The release of everything, with nothing to stop, detach or delete first.
const std::vector<std::string> releaseOfThree = {
    "thread(2)",
    "thread(1)",
    "thread(0)",
    "freeArray(struct DDS_AsyncWaitSetThread)",
    "ZYLOsapiBarrier_delete",
    "VESKWorkerFactory_destroyExclusiveArea(name_AWS_SYNCHRONIZER_EA)",
    "DDS_WaitSet_delete",
    "DDS_CountingCondition_delete",
    "property",
    "VESKFastBufferPool_delete(struct DDS_AWSConditionInfo)",
    "freeArray(struct DDS_AWSConditionInfo)",
    "VESKFastBufferPool_delete(struct DDS_AWSTaskInfo)",
    "freeArray(struct DDS_AWSTaskInfo)",
    "VESKWorkerFactory_destroyExclusiveArea(name_AWS_CRITICAL_SECTION_EA)",
};

class Finalize : public testing::Test {
protected:
    Finalize()
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(3, 1, "name");
        EXPECT_EQ(DDS_AsyncWaitSet_initialize(&aws, DDS_DomainParticipantFactory_get_instance(),
                                              DDS_AsyncWaitSetGlobals_get_instance(), &property, nullptr, nullptr,
                                              nullptr, nullptr),
                  1);
        creation::named(first.condition(), "first");
        creation::named(second.condition(), "second");
        calls.clear();
    }
    ~Finalize() override { EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks); }
    Finalize(const Finalize &) = delete;
    Finalize &operator=(const Finalize &) = delete;

    /// The calls noted so far, without those of the heap and of lists that belong to requests.
    std::vector<std::string> steps() const
    {
        std::vector<std::string> list = calls.list();
        std::erase_if(list, [](const std::string &call) {
            return call.starts_with("heap") || call == "freeArray(struct VESKInlineListUserDataNode)" ||
                   call == "freeArray(unknown)" || call == "DDS_WaitSet_attach_condition" || call == "increment";
        });
        return list;
    }
    /// What is left is released, and `before` came first.
    void finalizeWell(std::vector<std::string> before = {})
    {
        log.clear();
        calls.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK);
        EXPECT_NO_LOG(log);
        before.insert(before.end(), releaseOfThree.begin(), releaseOfThree.end());
        EXPECT_THAT(steps(), ElementsAreArray(before));
    }
    /// Finalization fails with this code and this one message.
    void expectFailure(DDS_ReturnCode_t code, const char *argument)
    {
        log.clear();
        calls.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), code);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, argument);
        EXPECT_LOG_COUNT(log, 1U);
    }

    HandledGuard first;
    HandledGuard second;
    const size_t blocks = (DDS_AsyncWaitSetGlobals_get_instance(), ZYLOsapiHeap_getBlockCount());
    DDS_AsyncWaitSet aws;
    LogCapture log;
    ServiceCalls calls;
};

TEST_F(Finalize, a_record_at_rest_is_released_in_the_stated_order)
{
    finalizeWell();
    EXPECT_EQ(aws._threadPool, nullptr);
    EXPECT_EQ(aws._barrier, nullptr);
    EXPECT_EQ(aws._threadPoolSynchronizerEA, nullptr);
    EXPECT_EQ(aws._sharedWaitSet, nullptr);
    EXPECT_EQ(aws._taskCondition, nullptr);
    EXPECT_EQ(aws._conditionInfoPool, nullptr);
    EXPECT_EQ(aws._taskInfoPool, nullptr);
    EXPECT_EQ(aws._criticalSectionEA, nullptr);
}

TEST_F(Finalize, conditions_are_detached_in_registry_order_and_idle_tokens_deleted_first)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, second.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    finalizeWell({"detach(second)", "detach(first)", "delete token"});
    EXPECT_EQ(DDS_Condition_set_handler(first.condition(), nullptr), DDS_RETCODE_BAD_PARAMETER);
    const DDS_ConditionHandler handler = DDS_Condition_get_handler(first.condition());
    EXPECT_EQ(DDS_Condition_set_handler(first.condition(), &handler), DDS_RETCODE_OK) << "it is attached nowhere";
}

TEST_F(Finalize, a_started_wait_set_is_stopped_first_and_waited_for)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(&aws), DDS_RETCODE_OK);
    finalizeWell({"stop(implicit)", "detach(first)", "delete token"});
    EXPECT_EQ(aws._isStarted, 0);
}

TEST_F(Finalize, null_is_refused)
{
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    finalizeWell();
}

TEST_F(Finalize, a_living_token_is_refused_before_anything_is_done)
{
    DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(&aws);
    ASSERT_NE(token, nullptr);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(&aws), DDS_RETCODE_OK);
    calls.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_DELETE_s,
               "AsyncWaitSet. There are alive completion tokens created from this object.");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_THAT(calls.list(), ElementsAre());
    EXPECT_NE(DDS_AsyncWaitSet_is_started(&aws), DDS_BOOLEAN_FALSE);

    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(&aws, token), DDS_RETCODE_OK);
    finalizeWell({"stop(implicit)", "detach(first)", "delete token"});
}

TEST_F(Finalize, a_failing_stop_leaves_everything_as_it_was)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(&aws), DDS_RETCODE_OK);
    calls.fail("stop");
    expectFailure(DDS_RETCODE_TIMEOUT, "request stop");
    EXPECT_THAT(steps(), ElementsAre("stop(implicit)"));
    EXPECT_NE(DDS_AsyncWaitSet_is_started(&aws), DDS_BOOLEAN_FALSE);
    finalizeWell({"stop(implicit)", "detach(first)", "delete token"});
}

TEST_F(Finalize, a_failing_detach_leaves_the_other_conditions_attached)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, second.condition()), DDS_RETCODE_OK);
    calls.fail("detach", 2);
    expectFailure(DDS_RETCODE_OUT_OF_RESOURCES, "detach condition");
    EXPECT_THAT(steps(), ElementsAre("detach(first)", "detach(second)"));
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(&aws, first.condition()), 0);
    EXPECT_NE(DDS_AsyncWaitSet_isHandlerAttached(&aws, second.condition()), 0);
    EXPECT_NE(aws._threadPool, nullptr);
    finalizeWell({"detach(second)", "delete token"});
}

TEST_F(Finalize, a_failing_token_deletion_stops_nothing)
{
    DDS_AsyncWaitSetCompletionToken *tokens[2] = {};
    for (DDS_AsyncWaitSetCompletionToken *&token : tokens) {
        token = DDS_AsyncWaitSet_loanCompletionToken(&aws);
        ASSERT_NE(token, nullptr);
    }
    for (DDS_AsyncWaitSetCompletionToken *token : tokens)
        ASSERT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(&aws, token), DDS_RETCODE_OK);
    calls.failFrom("delete token");
    finalizeWell({"delete token", "delete token"});
}

TEST_F(Finalize, a_failing_wait_set_keeps_what_comes_after_it)
{
    calls.fail("DDS_WaitSet_delete");
    expectFailure(DDS_RETCODE_ILLEGAL_OPERATION, "delete shared WaitSet");
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin(), releaseOfThree.begin() + 7));
    EXPECT_EQ(aws._threadPool, nullptr);
    EXPECT_EQ(aws._barrier, nullptr);
    EXPECT_EQ(aws._threadPoolSynchronizerEA, nullptr);
    EXPECT_NE(aws._sharedWaitSet, nullptr);
    EXPECT_NE(aws._taskCondition, nullptr);
    EXPECT_NE(aws._conditionInfoPool, nullptr);
    EXPECT_NE(aws._taskInfoPool, nullptr);
    EXPECT_NE(aws._criticalSectionEA, nullptr);
    EXPECT_STREQ(aws._property.thread_name_prefix, "name");

    calls.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK);
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin() + 6, releaseOfThree.end()));
}

TEST_F(Finalize, a_failing_request_condition_keeps_what_comes_after_it)
{
    calls.fail("DDS_CountingCondition_delete");
    expectFailure(DDS_RETCODE_NOT_ENABLED, "delete shared request condition");
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin(), releaseOfThree.begin() + 8));
    EXPECT_EQ(aws._sharedWaitSet, nullptr);
    EXPECT_NE(aws._taskCondition, nullptr);
    EXPECT_NE(aws._criticalSectionEA, nullptr);

    calls.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK);
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin() + 7, releaseOfThree.end()));
}

TEST_F(Finalize, a_record_without_wait_set_reports_an_error_and_is_released_all_the_same)
{
    finalizeWell();
    calls.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_ERROR);
    EXPECT_NO_LOG(log);
    EXPECT_THAT(steps(), ElementsAre("property"));
}

TEST_F(Finalize, a_request_whose_submission_failed_is_freed_with_its_nodes)
{
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_setState;
    aws._isStarted = 1;
    calls.fail("increment");
    EXPECT_EQ(DDS_AsyncWaitSet_submit_task(&aws, &task, nullptr, ignoreToken()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "trigger internal request condition");
    EXPECT_EQ(VESKInlineList_getFirst(&aws._internalTaskQueue), nullptr);
    EXPECT_NE(VESKInlineList_getFirst(&aws._liveTaskInfoList), nullptr);
    aws._isStarted = 0;
    finalizeWell();
}

}  // namespace
