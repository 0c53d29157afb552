/// @file
/// What the tests of the internal tasks share beyond requests: requests made by hand, conditions seen from the plain
/// wait set, and the masks that were set.
// Replaces: DDS_WaitSet_mask_condition
#ifndef AWS_TASK_FIXTURE_HPP
#define AWS_TASK_FIXTURE_HPP

#include "AwsQueueFixture.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

class AwsTaskTest : public AwsQueueTest {
protected:
    /// A request in no queue whose claims have reached that count.
    DDS_AWSTaskInfo requestOf(void *userData, std::uint32_t executionCount,
                              DDS_AsyncWaitSetCompletionToken *token = nullptr) const
    {
        DDS_AWSTaskInfo info = {};
        info._owner = aws;
        info._taskUserData = userData;
        info._executionCount = executionCount;
        info._completionToken = token;
        return info;
    }
    DDS_ReturnCode_t attach(DDS_Condition *condition)
    {
        return outcomeOf(DDS_AsyncWaitSetTask_attachCondition, condition);
    }
    DDS_ReturnCode_t detach(DDS_Condition *condition)
    {
        return outcomeOf(DDS_AsyncWaitSetTask_detachCondition, condition);
    }
    DDS_ReturnCode_t setState(int state)
    {
        return outcomeOf(DDS_AsyncWaitSetTask_setState, ZYLOsapiUtility_intToPointer(state));
    }
    /// Execute the task for all pool threads on the caller. Returns: what it reported to its token.
    DDS_ReturnCode_t outcomeOf(DDS_Task_ExecuteFcn task, void *userData)
    {
        DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_loanCompletionToken(aws);
        EXPECT_EQ(submit(task, token, userData), DDS_RETCODE_OK);
        const DDS_ReturnCode_t retCode = token->retCode;
        EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(aws, token), DDS_RETCODE_OK);
        return retCode;
    }

    /// Whether the condition would end a wait of the plain wait set now: attached and not masked.
    bool takesPart(HandledGuard &guard)
    {
        DDS_ConditionSeq active = DDS_SEQUENCE_INITIALIZER;
        guard.trigger();
        bool isActive = false;
        if (DDS_WaitSet_wait(aws->_sharedWaitSet, &active, &DDS_DURATION_ZERO) == DDS_RETCODE_OK)
            for (DDS_UnsignedLong i = 0; i < active._length; ++i)
                isActive = isActive || active._contiguous_buffer[i] == guard.condition();
        guard.clear();
        DDS_ConditionSeq_finalize(&active);
        return isActive;
    }
    /// The masks that were set, in order: "DDS_WaitSet_mask_condition(A, 1)" when A takes part again.
    std::vector<std::string> maskCalls() const { return doubles.callsOf({"DDS_WaitSet_mask_condition"}); }
    static std::string maskCall(const DDS_Condition *condition, bool takesPart)
    {
        return "DDS_WaitSet_mask_condition(" + doubled::nameOf(condition) + (takesPart ? ", 1)" : ", 0)");
    }
    /// What the condition's mask was set to, in order; true is "takes part".
    std::vector<bool> masks(const DDS_Condition *condition) const
    {
        std::vector<bool> result;
        for (const std::string &call : maskCalls())
            for (const bool takesPart : {false, true})
                if (call == maskCall(condition, takesPart)) result.push_back(takesPart);
        return result;
    }
};

#endif
