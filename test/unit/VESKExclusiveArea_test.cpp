/// @file
/// Exclusive areas, as one thread sees them: re-entry, refusals, the witness of the order.
#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "LogCapture.hpp"
#include "MemoryFixture.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/vesk/VESKExclusiveArea.pkg.h"

namespace {

VESKWorkerPerThread registry = {};

VESKWorker *worker()
{
    EXPECT_NE(0, VESKWorkerPerThread_initialize(&registry));
    return VESKWorkerPerThread_getWorker(&registry);
}
bool enter(VESKExclusiveArea *area) ZYL_NOT_ANALYZED
{
    return VESKWorker_enterExclusiveArea(worker(), nullptr, area) != 0;
}
bool leave(VESKExclusiveArea *area) ZYL_NOT_ANALYZED
{
    return VESKWorker_leaveExclusiveArea(worker(), nullptr, area) != 0;
}

/// An area for a scope.
struct Area {
    Area(int level, const char *name)
    {
        worker();
        area = VESKWorkerFactory_createExclusiveAreaEx(registry._workerFactory, level, name);
        EXPECT_NE(nullptr, area);
    }
    ~Area() { VESKWorkerFactory_destroyExclusiveArea(registry._workerFactory, area); }
    Area(const Area &) = delete;
    Area &operator=(const Area &) = delete;

    operator VESKExclusiveArea *() const { return area; }

    VESKExclusiveArea *area;
};

/// The registry is ready when a test begins.
class AreaTest : public MemoryTest {
protected:
    static void SetUpTestSuite() { worker(); }
};
using ExclusiveArea = AreaTest;
using AreaOrder = AreaTest;

TEST_F(ExclusiveArea, is_refused_for_bad_arguments_and_when_memory_ended)
{
    const LogCapture log;
    EXPECT_EQ(nullptr, VESKWorkerFactory_createExclusiveAreaEx(nullptr, 1, "area"));
    EXPECT_EQ(nullptr, VESKWorkerFactory_createExclusiveAreaEx(registry._workerFactory, 1, nullptr));
    EXPECT_EQ(nullptr, VESKWorkerFactory_createExclusiveAreaEx(registry._workerFactory, INT_MIN, "area"));
    endMemory();
    EXPECT_EQ(nullptr, VESKWorkerFactory_createExclusiveAreaEx(registry._workerFactory, 1, "area"));
    bringMemoryBack();
    EXPECT_EQ(blocksBefore, ZYLOsapiHeap_getBlockCount());
    EXPECT_NO_LOG(log);
    VESKWorkerFactory_destroyExclusiveArea(registry._workerFactory, nullptr);
    {
        const Area lowest(-INT_MAX, "lowest");
        const Area highest(INT_MAX, "highest");
        EXPECT_EQ(blocksBefore + 2, ZYLOsapiHeap_getBlockCount());
    }
    EXPECT_EQ(blocksBefore, ZYLOsapiHeap_getBlockCount());
}

TEST_F(ExclusiveArea, is_released_by_the_last_matching_leave)
{
    const Area area(1, "area");
    EXPECT_EQ(0, VESKWorker_getExclusiveAreaDepth(worker(), area));
    for (int depth = 1; depth <= 3; ++depth) {
        ASSERT_TRUE(enter(area));
        EXPECT_EQ(depth, VESKWorker_getExclusiveAreaDepth(worker(), area));
        EXPECT_EQ(1, worker()->_heldCount);
    }
    std::thread([&] { EXPECT_EQ(0, VESKWorker_getExclusiveAreaDepth(worker(), area)); }).join();
    for (int depth = 2; depth >= 0; --depth) {
        ASSERT_TRUE(leave(area));
        EXPECT_EQ(depth, VESKWorker_getExclusiveAreaDepth(worker(), area));
    }
    EXPECT_EQ(0, worker()->_heldCount);
    EXPECT_EQ(nullptr, worker()->_lastHeld);
    std::thread([&] {
        EXPECT_TRUE(enter(area));
        EXPECT_TRUE(leave(area));
    }).join();
}

TEST_F(ExclusiveArea, enter_and_leave_refuse_null_and_a_leave_without_enter)
{
    const LogCapture log;
    const Area area(1, "area");
    EXPECT_EQ(0, VESKWorker_enterExclusiveArea(nullptr, nullptr, area));
    EXPECT_FALSE(enter(nullptr));
    EXPECT_FALSE(leave(nullptr));
    EXPECT_FALSE(leave(area));
    EXPECT_EQ(0, VESKWorker_getExclusiveAreaDepth(nullptr, area));
    EXPECT_EQ(0, VESKWorker_getExclusiveAreaDepth(worker(), nullptr));
    ASSERT_TRUE(enter(area));
    std::thread([&] { EXPECT_FALSE(leave(area)); }).join();
    EXPECT_EQ(1, VESKWorker_getExclusiveAreaDepth(worker(), area));
    EXPECT_TRUE(leave(area));
    EXPECT_FALSE(leave(area));
    EXPECT_NO_LOG(log);
}

TEST_F(ExclusiveArea, areas_may_be_left_in_any_order)
{
    const Area first(1, "first");
    const Area second(2, "second");
    const Area third(3, "third");
    for (const Area *area : {&first, &second, &third}) ASSERT_TRUE(enter(*area));
    EXPECT_EQ(3, worker()->_heldCount);
    EXPECT_TRUE(leave(second));
    EXPECT_EQ(1, VESKWorker_getExclusiveAreaDepth(worker(), first));
    EXPECT_EQ(1, VESKWorker_getExclusiveAreaDepth(worker(), third));
    EXPECT_TRUE(leave(first));
    EXPECT_TRUE(leave(third));
    EXPECT_EQ(0, worker()->_heldCount);
}

TEST_F(ExclusiveArea, destroyed_while_the_caller_holds_it_is_forgotten_by_its_worker)
{
    LogCapture log(ZYL_LOG_LEVEL_NOTICE);
    {
        const Area area(5, "area");
        ASSERT_TRUE(enter(area));
    }
    EXPECT_EQ(0, worker()->_heldCount);
    const Area next(1, "next");
    EXPECT_TRUE(enter(next));
    EXPECT_TRUE(leave(next));
    EXPECT_NO_LOG(log);
}

TEST_F(AreaOrder, entering_in_rising_level_reports_nothing)
{
    LogCapture log(ZYL_LOG_LEVEL_NOTICE);
    const Area low(1, "low");
    const Area high(2, "high");
    ASSERT_TRUE(enter(low));
    ASSERT_TRUE(enter(high));
    ASSERT_TRUE(enter(low));  // a re-entry has no order
    EXPECT_NO_LOG(log);
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(leave(low));
    EXPECT_TRUE(leave(high));
    ASSERT_TRUE(enter(low));
    EXPECT_TRUE(leave(low));
    EXPECT_NO_LOG(log);
}

TEST_F(AreaOrder, a_level_that_is_not_above_the_highest_held_is_reported_once_and_entered)
{
    LogCapture log(ZYL_LOG_LEVEL_NOTICE);
    const Area high(7, "high");
    const Area middle(5, "middle");
    const Area equal(7, "equal");
    ASSERT_TRUE(enter(high));
    ASSERT_TRUE(enter(middle));
    EXPECT_EQ(1, VESKWorker_getExclusiveAreaDepth(worker(), middle));
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, VESK_LOG_WORKER_LEVEL_ORDER_sdsd, "middle", 5, "high", 7);
    // The highest area held counts, not the last one.
    ASSERT_TRUE(enter(equal));
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, VESK_LOG_WORKER_LEVEL_ORDER_sdsd, "equal", 7, "high", 7);
    EXPECT_TRUE(leave(equal));
    EXPECT_TRUE(leave(middle));
    ASSERT_TRUE(enter(middle));
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_TRUE(leave(middle));
    EXPECT_TRUE(leave(high));
}

TEST_F(AreaOrder, what_the_gate_kept_back_is_reported_when_it_is_open)
{
    LogCapture log(ZYL_LOG_LEVEL_WARNING);
    const Area high(2, "high");
    const Area low(1, "low");
    ASSERT_TRUE(enter(high));
    ASSERT_TRUE(enter(low));
    EXPECT_NO_LOG(log);
    EXPECT_TRUE(leave(low));
    DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_NOTICE;
    ASSERT_TRUE(enter(low));
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_TRUE(leave(low));
    EXPECT_TRUE(leave(high));
}

TEST_F(AreaOrder, the_name_is_a_copy)
{
    LogCapture log(ZYL_LOG_LEVEL_NOTICE);
    const Area high(2, "high");
    char name[] = "UNKNOWN_AWS_CRITICAL_SECTION_EA";
    const Area low(1, name);
    name[0] = 'x';
    ASSERT_TRUE(enter(high));
    ASSERT_TRUE(enter(low));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, VESK_LOG_WORKER_LEVEL_ORDER_sdsd, "UNKNOWN_AWS_CRITICAL_SECTION_EA", 1,
               "high", 2);
    EXPECT_TRUE(leave(low));
    EXPECT_TRUE(leave(high));
}

}  // namespace
