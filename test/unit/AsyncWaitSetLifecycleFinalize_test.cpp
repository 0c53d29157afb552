/// @file
/// Tearing the record down: the order of the steps, what each failing step leaves, and that the step may be repeated.

// Replaces: ZYLOsapiHeap_freeMemoryInternal VESKFastBufferPool_delete VESKWorkerFactory_destroyExclusiveArea
// Replaces: DDS_WaitSet_delete DDS_CountingCondition_delete ZYLOsapiBarrier_delete DDS_CountingCondition_increment
// Replaces: DDS_AsyncWaitSet_stop_with_completion_token DDS_AsyncWaitSet_detach_condition
// Replaces: DDS_AsyncWaitSet_delete_completion_token DDS_AsyncWaitSetThread_finalize
// Replaces: DDS_AsyncWaitSetProperty_t_finalize
#include "CreationFixture.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/vesk/VESKExclusiveArea.hpp"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const std::string stop = "DDS_AsyncWaitSet_stop_with_completion_token(implicit)";
const std::string detachFirst = "DDS_AsyncWaitSet_detach_condition(first)";
const std::string detachSecond = "DDS_AsyncWaitSet_detach_condition(second)";
const std::string deleteToken = "DDS_AsyncWaitSet_delete_completion_token(an unnamed token)";

/// The release of everything, with nothing to stop, detach or delete first.
const std::vector<std::string> releaseOfThree = {
    "thread 2",
    "thread 1",
    "thread 0",
    "array of struct DDS_AsyncWaitSetThread",
    "ZYLOsapiBarrier_delete",
    "area name_AWS_SYNCHRONIZER_EA",
    "DDS_WaitSet_delete",
    "DDS_CountingCondition_delete",
    "DDS_AsyncWaitSetProperty_t_finalize",
    "VESKFastBufferPool_delete(pool of registry records)",
    "array of struct DDS_AWSConditionInfo",
    "VESKFastBufferPool_delete(pool of requests)",
    "array of struct DDS_AWSTaskInfo",
    "area name_AWS_CRITICAL_SECTION_EA",
};

class Finalize : public CreationTest {
protected:
    Finalize()
    {
        nameObjects();
        noteReleases();
        const DDS_AsyncWaitSetProperty_t property = propertyOf(3, 1, "name");
        EXPECT_EQ(DDS_AsyncWaitSet_initialize(&aws, DDS_DomainParticipantFactory_get_instance(), globals, &property,
                                              nullptr, nullptr, nullptr, nullptr),
                  1);
        doubles.name(aws._taskInfoPool, "pool of requests");
        doubles.name(aws._conditionInfoPool, "pool of registry records");
        doubles.clear();
    }

    /// Arrays are called after their type, conditions and the token that stands for waiting after what they are.
    void nameObjects()
    {
        doubles.name(first.condition(), "first");
        doubles.name(second.condition(), "second");
        doubles.name(implicitToken(), "implicit");
        doubles.on(heap).forGood().after(
            [this](void **block, size_t, int, int, int, const char *, ZYLOsapiAllocKind kind, const char *typeName) {
                if (kind == ZYL_OSAPI_ARRAY_ALLOC) doubles.name(*block, std::string("array of ") + typeName);
            });
    }
    /// Of all blocks only arrays are noted; they, areas and threads as what they are.
    void noteReleases()
    {
        const char *const release = "ZYLOsapiHeap_freeMemoryInternal";
        const auto isArray = [](void *, int, const char *, ZYLOsapiAllocKind kind, int) {
            return kind == ZYL_OSAPI_ARRAY_ALLOC;
        };
        doubles.on(release).unnoted();
        doubles.on(release).when(isArray).as(
            [](void *block, int, const char *, ZYLOsapiAllocKind, int) { return doubled::nameOf(block); });
        doubles.on("VESKWorkerFactory_destroyExclusiveArea").as([](VESKWorkerFactory *, VESKExclusiveArea *area) {
            return std::string("area ") + area->_name;
        });
        doubles.on("DDS_AsyncWaitSetThread_finalize").as([](DDS_AsyncWaitSetThread *self) {
            return "thread " + std::to_string(self - self->_owner->_threadPool);
        });
    }

    /// The calls noted so far, without those that get memory and those of lists that belong to requests.
    std::vector<std::string> steps() const
    {
        std::vector<std::string> list = doubles.calls();
        std::erase_if(list, [](const std::string &call) {
            return call.starts_with(heap) || call.starts_with("DDS_WaitSet_attach_condition") ||
                   call.starts_with("DDS_CountingCondition_increment") ||
                   call == "array of struct VESKInlineListUserDataNode";
        });
        return list;
    }
    /// What is left is released, and `before` came first.
    void finalizeWell(std::vector<std::string> before = {})
    {
        log.clear();
        doubles.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK);
        EXPECT_NO_LOG(log);
        before.insert(before.end(), releaseOfThree.begin(), releaseOfThree.end());
        EXPECT_THAT(steps(), ElementsAreArray(before));
    }
    /// Finalization fails with this code and this one message.
    void expectFailure(DDS_ReturnCode_t code, const char *argument)
    {
        log.clear();
        doubles.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), code);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, argument);
        EXPECT_LOG_COUNT(log, 1U);
    }

    HandledGuard first;
    HandledGuard second;
    DDS_AsyncWaitSet aws;
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
    finalizeWell({detachSecond, detachFirst, deleteToken});
    EXPECT_EQ(DDS_Condition_set_handler(first.condition(), nullptr), DDS_RETCODE_BAD_PARAMETER);
    const DDS_ConditionHandler handler = DDS_Condition_get_handler(first.condition());
    EXPECT_EQ(DDS_Condition_set_handler(first.condition(), &handler), DDS_RETCODE_OK) << "it is attached nowhere";
}

TEST_F(Finalize, a_started_wait_set_is_stopped_first_and_waited_for)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(&aws), DDS_RETCODE_OK);
    finalizeWell({stop, detachFirst, deleteToken});
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
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_DELETE_s,
               "AsyncWaitSet. There are alive completion tokens created from this object.");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_THAT(doubles.calls(), IsEmpty());
    EXPECT_NE(DDS_AsyncWaitSet_is_started(&aws), DDS_BOOLEAN_FALSE);

    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(&aws, token), DDS_RETCODE_OK);
    finalizeWell({stop, detachFirst, deleteToken});
}

TEST_F(Finalize, a_failing_stop_leaves_everything_as_it_was)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(&aws), DDS_RETCODE_OK);
    doubles.on("DDS_AsyncWaitSet_stop_with_completion_token").fail(1, DDS_RETCODE_TIMEOUT);
    expectFailure(DDS_RETCODE_TIMEOUT, "request stop");
    EXPECT_THAT(steps(), ElementsAre(stop));
    EXPECT_NE(DDS_AsyncWaitSet_is_started(&aws), DDS_BOOLEAN_FALSE);
    finalizeWell({stop, detachFirst, deleteToken});
}

TEST_F(Finalize, a_failing_detach_leaves_the_other_conditions_attached)
{
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, first.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(&aws, second.condition()), DDS_RETCODE_OK);
    doubles.on("DDS_AsyncWaitSet_detach_condition").fail(2, DDS_RETCODE_OUT_OF_RESOURCES);
    expectFailure(DDS_RETCODE_OUT_OF_RESOURCES, "detach condition");
    EXPECT_THAT(steps(), ElementsAre(detachFirst, detachSecond));
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(&aws, first.condition()), 0);
    EXPECT_NE(DDS_AsyncWaitSet_isHandlerAttached(&aws, second.condition()), 0);
    EXPECT_NE(aws._threadPool, nullptr);
    finalizeWell({detachSecond, deleteToken});
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
    const char *const service = "DDS_AsyncWaitSet_delete_completion_token";
    doubles.on(service).instead([&](DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token) {
        EXPECT_EQ(Doubles::real<decltype(DDS_AsyncWaitSet_delete_completion_token)>(service)(self, token),
                  DDS_RETCODE_OK);
        return DDS_RETCODE_ERROR;
    });
    finalizeWell({deleteToken, deleteToken});
}

TEST_F(Finalize, a_failing_wait_set_keeps_what_comes_after_it)
{
    doubles.on("DDS_WaitSet_delete").fail();
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

    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK);
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin() + 6, releaseOfThree.end()));
}

TEST_F(Finalize, a_failing_request_condition_keeps_what_comes_after_it)
{
    doubles.on("DDS_CountingCondition_delete").fail();
    expectFailure(DDS_RETCODE_NOT_ENABLED, "delete shared request condition");
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin(), releaseOfThree.begin() + 8));
    EXPECT_EQ(aws._sharedWaitSet, nullptr);
    EXPECT_NE(aws._taskCondition, nullptr);
    EXPECT_NE(aws._criticalSectionEA, nullptr);

    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK);
    EXPECT_THAT(steps(), ElementsAreArray(releaseOfThree.begin() + 7, releaseOfThree.end()));
}

TEST_F(Finalize, a_record_without_wait_set_reports_an_error_and_is_released_all_the_same)
{
    finalizeWell();
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_ERROR);
    EXPECT_NO_LOG(log);
    EXPECT_THAT(steps(), ElementsAre("DDS_AsyncWaitSetProperty_t_finalize"));
}

TEST_F(Finalize, a_request_whose_submission_failed_is_freed_with_its_nodes)
{
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_setState;
    aws._isStarted = 1;
    doubles.on("DDS_CountingCondition_increment").fail(1, DDS_RETCODE_ERROR);
    EXPECT_EQ(DDS_AsyncWaitSet_submit_task(&aws, &task, nullptr, ignoreToken()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "trigger internal request condition");
    EXPECT_EQ(VESKInlineList_getFirst(&aws._internalTaskQueue), nullptr);
    EXPECT_NE(VESKInlineList_getFirst(&aws._liveTaskInfoList), nullptr);
    aws._isStarted = 0;
    finalizeWell();
}

}  // namespace
