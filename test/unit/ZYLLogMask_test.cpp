/// @file
/// The level mask, set while threads print.
#include <atomic>
#include <thread>

#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/zyl/ZYLLogWords.pkg.hpp"

namespace {

void warn(const char *what)
{
    ZYL_PRINT(ZYL_LOG_LEVEL_WARNING, DDS_SUBMODULE_MASK_INFRASTRUCTURE, ZYL_LOG_ANY_FAILURE_s, what);
}
void notice(const char *what)
{
    ZYL_PRINT(ZYL_LOG_LEVEL_NOTICE, DDS_SUBMODULE_MASK_INFRASTRUCTURE, ZYL_LOG_ANY_s, what);
}

}  // namespace

TEST(LogMask, the_levels_that_were_set_last_are_printed)
{
    LogCapture log;
    DDSLog_setInstrumentationMask(ZYL_LOG_LEVEL_NOTICE);
    EXPECT_EQ(DDSLog_g_instrumentationMask, ZYL_LOG_LEVEL_NOTICE);
    warn("not printed");
    notice("printed");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, ZYL_LOG_ANY_s, "printed");
    EXPECT_LOG_COUNT(log, 1U);
    DDSLog_setInstrumentationMask(0);
    notice("not printed");
    EXPECT_LOG_COUNT(log, 1U);
}

/// Under the thread sanitizer: a plain store of the mask would be a race.
TEST(LogMask, the_levels_can_be_set_while_threads_print)
{
    LogCapture log(0);
    std::atomic<bool> isOver{false};
    std::atomic<int> rounds{0};
    std::thread printer([&] {
        while (!isOver) {
            warn("warning");
            notice("notice");
            ++rounds;
        }
    });
    const auto printRounds = [&](std::uint32_t levels) {
        for (const int before = rounds; rounds < before + 10; std::this_thread::yield())
            DDSLog_setInstrumentationMask(levels);
    };
    printRounds(0);
    printRounds(ZYL_LOG_LEVEL_NOTICE);
    DDSLog_setInstrumentationMask(0);
    isOver = true;
    printer.join();
    EXPECT_GT(log.count(ZYL_LOG_LEVEL_NOTICE, ZYL_LOG_ANY_s), 0);
    EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s), 0);
}
