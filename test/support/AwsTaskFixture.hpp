/// @file
/// What the tests of the internal tasks share beyond requests: requests made by hand, conditions seen from the plain
/// wait set, and the masks that were set.
///
/// Include it from one source file of a program, which must also replace DDS_WaitSet_mask_condition.
#ifndef AWS_TASK_FIXTURE_HPP
#define AWS_TASK_FIXTURE_HPP

#include "AwsQueueFixture.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

class AwsTaskTest : public AwsQueueTest {
protected:
    void SetUp() override { maskCalls.clear(); }

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
    /// What the condition's mask was set to, in order; true is "takes part".
    static std::vector<bool> masks(const DDS_Condition *condition)
    {
        std::vector<bool> result;
        for (const auto &[masked, isRunning] : maskCalls)
            if (masked == condition) result.push_back(isRunning);
        return result;
    }

public:
    inline static std::vector<std::pair<DDS_Condition *, bool>> maskCalls;
};

extern "C" {
DDS_ReturnCode_t __real_DDS_WaitSet_mask_condition(DDS_WaitSet *self, DDS_Condition *condition, DDS_Boolean takesPart);
DDS_ReturnCode_t __wrap_DDS_WaitSet_mask_condition(DDS_WaitSet *self, DDS_Condition *condition, DDS_Boolean takesPart)
{
    AwsTaskTest::maskCalls.emplace_back(condition, takesPart != DDS_BOOLEAN_FALSE);
    if (AwsQueueTest::fails("mask")) return DDS_RETCODE_ILLEGAL_OPERATION;
    return __real_DDS_WaitSet_mask_condition(self, condition, takesPart);
}
}

#endif
