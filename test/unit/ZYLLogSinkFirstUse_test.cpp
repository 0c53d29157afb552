/// @file
/// The first use of the default sink when the storage of a thread is used up.

// Replaces: ZYLPlatform_createThreadKey
#include <gtest/gtest.h>

#include <string>

#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLLog.pkg.h"

namespace {

std::string printed(const char *text)
{
    testing::internal::CaptureStderr();
    ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_WARNING, 0, "f.cpp", 1, "function", "%s", text);
    return testing::internal::GetCapturedStderr();
}

TEST(LogSinkFirstUse, without_storage_a_part_of_a_line_is_a_line_of_its_own_and_the_next_print_tries_again)
{
    Doubles doubles;
    doubles.on("ZYLPlatform_createThreadKey").fail();
    EXPECT_EQ(printed("one"), "[2] function: one\n");
    EXPECT_EQ(printed("two "), "");
    EXPECT_EQ(printed("three\n"), "[2] function: two three\n");
    EXPECT_EQ(doubles.count("ZYLPlatform_createThreadKey"), 2);
}

}  // namespace
