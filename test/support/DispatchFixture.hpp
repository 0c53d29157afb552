/// @file
/// For the tests of dispatch: the services that the wake-up handlers call, replaced, written down in order and made to
/// fail; and a wait set that is not started, with conditions "a", "b", ... A program that includes this replaces
/// DDS_WaitSet_mask_condition, DDS_WaitSet_end_waitI, DDS_Condition_get_trigger_value, DDS_Condition_dispatch,
/// VESKWorker_enterExclusiveArea and VESKWorker_leaveExclusiveArea.
#ifndef DISPATCH_FIXTURE_HPP
#define DISPATCH_FIXTURE_HPP

#include <gmock/gmock.h>

#include <deque>
#include <map>
#include <memory>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

/// What was called, and what fails. Only the test's own thread calls.
struct Services {
    bool isRecording = false;
    std::vector<std::string> journal;
    std::map<const DDS_Condition *, std::string> names;
    const VESKExclusiveArea *synchronizer = nullptr;
    bool enterFails = false;
    bool leaveFails = false;
    DDS_ReturnCode_t maskResult = DDS_RETCODE_OK;
    DDS_ReturnCode_t unmaskResult = DDS_RETCODE_OK;

    void record(const std::string &what) { journal.push_back(what); }
    void record(const std::string &what, const DDS_Condition *condition) { record(what + " " + names[condition]); }
};

inline Services services;

extern "C" {
DDS_ReturnCode_t __real_DDS_WaitSet_mask_condition(DDS_WaitSet *, DDS_Condition *, DDS_Boolean);
DDS_ReturnCode_t __wrap_DDS_WaitSet_mask_condition(DDS_WaitSet *self, DDS_Condition *condition, DDS_Boolean takesPart)
{
    if (!services.isRecording) return __real_DDS_WaitSet_mask_condition(self, condition, takesPart);
    services.record(takesPart != 0 ? "unmask" : "mask", condition);
    const DDS_ReturnCode_t result = takesPart != 0 ? services.unmaskResult : services.maskResult;
    return result != DDS_RETCODE_OK ? result : __real_DDS_WaitSet_mask_condition(self, condition, takesPart);
}

/// No wait is in progress in these tests.
void __wrap_DDS_WaitSet_end_waitI(DDS_WaitSet *)
{
    services.record("end wait");
}

DDS_Boolean __real_DDS_Condition_get_trigger_value(DDS_Condition *);
DDS_Boolean __wrap_DDS_Condition_get_trigger_value(DDS_Condition *self)
{
    if (services.isRecording) services.record("look at", self);
    return __real_DDS_Condition_get_trigger_value(self);
}

DDS_ReturnCode_t __real_DDS_Condition_dispatch(DDS_Condition *);
DDS_ReturnCode_t __wrap_DDS_Condition_dispatch(DDS_Condition *self)
{
    services.record("dispatch", self);
    return __real_DDS_Condition_dispatch(self);
}

int __real_VESKWorker_enterExclusiveArea(VESKWorker *, void *, VESKExclusiveArea *);
int __wrap_VESKWorker_enterExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
{
    if (services.isRecording && area == services.synchronizer) services.record("enter");
    if (services.enterFails && area == services.synchronizer) return 0;
    return __real_VESKWorker_enterExclusiveArea(self, previousOut, area);
}

int __real_VESKWorker_leaveExclusiveArea(VESKWorker *, void *, VESKExclusiveArea *);
int __wrap_VESKWorker_leaveExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
{
    if (services.isRecording && area == services.synchronizer) services.record("leave");
    if (services.leaveFails && area == services.synchronizer) return 0;
    return __real_VESKWorker_leaveExclusiveArea(self, previousOut, area);
}
}

struct Deleter {
    void operator()(DDS_AsyncWaitSet *aws) const { EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK); }
};

class DispatchFixture : public testing::Test {
protected:
    void SetUp() override
    {
        services = {};
        blockCount = ZYLOsapiHeap_getBlockCount();
    }

    void TearDown() override
    {
        services.isRecording = false;
        aws.reset();
        guards.clear();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount);
    }

    /// Make a wait set that is not started, with conditions "a", "b", ... attached in this order.
    void create(DDS_UnsignedLong poolSize, int conditionCount)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        aws.reset(DDS_AsyncWaitSet_new(&property));
        ASSERT_NE(aws, nullptr);
        services.synchronizer = aws->_threadPoolSynchronizerEA;
        aws->_threadPool[0]._threadName = DDS_String_dup("first");
        if (poolSize > 1) aws->_threadPool[1]._threadName = DDS_String_dup("second");
        for (int i = 0; i < conditionCount; ++i) {
            guards.emplace_back([this](HandledGuard &guard) {
                if (inHandler) inHandler(guard);
            });
            services.names[guards.back().condition()] = std::string(1, static_cast<char>('a' + i));
            ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws.get(), guards.back().condition()), DDS_RETCODE_OK);
        }
    }

    DDS_AWSConditionInfo *info(std::size_t i) const
    {
        return DDS_AsyncWaitSet_lookUpConditionInfo(aws.get(), guards[i].condition());
    }
    int depth() const
    {
        return VESKWorker_getExclusiveAreaDepth(DDS_AsyncWaitSetGlobals_getWorker(aws->_globals),
                                                aws->_threadPoolSynchronizerEA);
    }

    /// Wake up as the leading pool thread of that index. Returns: what was called meanwhile.
    std::vector<std::string> wakeUp(DDS_Long index = 0)
    {
        const PoolThreadGuise guise(aws.get(), index);
        EXPECT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 1);
        services.journal.clear();
        services.isRecording = true;
        DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
        services.isRecording = false;
        isLeaderAfterwards = depth() > 0;
        services.leaveFails = false;
        if (isLeaderAfterwards) {
            EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 1);
        }
        return services.journal;
    }

    /// What the only pool thread calls when it wakes up.
    std::vector<std::string> wakeUpAlone()
    {
        const PoolThreadGuise guise(aws.get());
        services.isRecording = true;
        DDS_AsyncWaitSet_onWakeUpSingleThread(aws.get(), nullptr);
        services.isRecording = false;
        return services.journal;
    }

    std::size_t blockCount = 0;
    std::deque<HandledGuard> guards;
    std::unique_ptr<DDS_AsyncWaitSet, Deleter> aws;
    std::function<void(HandledGuard &)> inHandler;
    bool isLeaderAfterwards = false;
};

#endif
