/// @file
/// For the tests of dispatch: a wait set that is not started, with conditions "a", "b", ..., and doubles of the
/// services that the wake-up handlers call.
///
/// Protection: for the test's own thread, which plays every pool thread.
// Replaces: DDS_WaitSet_mask_condition DDS_WaitSet_end_waitI DDS_Condition_get_trigger_value DDS_Condition_dispatch
// Replaces: VESKWorker_enterExclusiveArea VESKWorker_leaveExclusiveArea
#ifndef DISPATCH_FIXTURE_HPP
#define DISPATCH_FIXTURE_HPP

#include <gmock/gmock.h>

#include <deque>
#include <memory>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

struct Deleter {
    void operator()(DDS_AsyncWaitSet *aws) const { EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK); }
};

class DispatchFixture : public testing::Test {
protected:
    void SetUp() override
    {
        blockCount = ZYLOsapiHeap_getBlockCount();
        const auto note = [this](const char *service, const char *step) {
            doubles.on(service).as([step](DDS_Condition *condition) { return noted(step, condition); });
        };
        note("DDS_Condition_get_trigger_value", "look at");
        note("DDS_Condition_dispatch", "dispatch");
        doubles.on(mask).as([](DDS_WaitSet *, DDS_Condition *condition, DDS_Boolean takesPart) {
            return noted(takesPart != DDS_BOOLEAN_FALSE ? "unmask" : "mask", condition);
        });
        // No wait is in progress in these tests.
        doubles.on("DDS_WaitSet_end_waitI").as("end wait").instead([] {});
    }

    void TearDown() override
    {
        doubles.heal();
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
        // A single thread has no synchronizer; there every area is noted, because it needs none.
        if (poolSize > 1) {
            for (const char *service : {enter, leave}) doubles.on(service).unnoted();
            synchronizer(enter).as("enter");
            synchronizer(leave).as("leave");
        }
        aws->_threadPool[0]._threadName = DDS_String_dup("first");
        if (poolSize > 1) aws->_threadPool[1]._threadName = DDS_String_dup("second");
        for (int i = 0; i < conditionCount; ++i) {
            guards.emplace_back([this](HandledGuard &guard) {
                if (inHandler) inHandler(guard);
            });
            doubles.name(guards.back().condition(), std::string(1, static_cast<char>('a' + i)));
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
        doubles.clear();
        DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
        const std::vector<std::string> calls = doubles.calls();
        isLeaderAfterwards = depth() > 0;
        doubles.on(leave).heal();
        if (isLeaderAfterwards) {
            EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 1);
        }
        return calls;
    }

    /// What the only pool thread calls when it wakes up.
    std::vector<std::string> wakeUpAlone()
    {
        const PoolThreadGuise guise(aws.get());
        doubles.clear();
        DDS_AsyncWaitSet_onWakeUpSingleThread(aws.get(), nullptr);
        return doubles.calls();
    }

    /// A rule about the entries into the pool's synchronizer, or about its leaving.
    DoubledService synchronizer(const char *service, TestLine line = TestLine::here())
    {
        EXPECT_NE(aws->_threadPoolSynchronizerEA, nullptr) << "there is none in a pool of one";
        return doubles.on(service, line).with(aws->_threadPoolSynchronizerEA);
    }
    /// From now on leadership cannot be given up, and is not.
    void failToLeave()
    {
        synchronizer(leave).instead([]() -> int { return 0; });
    }

    static constexpr const char *mask = "DDS_WaitSet_mask_condition";
    static constexpr const char *enter = "VESKWorker_enterExclusiveArea";
    static constexpr const char *leave = "VESKWorker_leaveExclusiveArea";

    std::size_t blockCount = 0;
    Doubles doubles;
    std::deque<HandledGuard> guards;
    std::unique_ptr<DDS_AsyncWaitSet, Deleter> aws;
    std::function<void(HandledGuard &)> inHandler;
    bool isLeaderAfterwards = false;

private:
    static std::string noted(const std::string &step, const DDS_Condition *condition)
    {
        return step + " " + doubled::nameOf(condition);
    }
};

#endif
