/// @file
/// Texts that are too long: where they are cut, and that they still end their line.
#include <gmock/gmock.h>

#include "LogCapture.hpp"
#include "StandardErrorTap.hpp"
#include "halo_runtime/zyl/ZYLLog.pkg.h"

namespace {

constexpr std::size_t longest = 2047;

std::string manyThen(std::size_t count, const char *end)
{
    std::string text(count, 'x');
    text += end;
    return text;
}

void printText(const char *format, const std::string &argument)
{
    // The format is one of this file's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_TRACE, 0, "f.cpp", 1, "function", format, argument.c_str());
#pragma GCC diagnostic pop
}

}  // namespace

TEST(LogText, a_text_that_is_cut_ends_in_three_dots_and_a_newline)
{
    LogCapture log(ZYL_LOG_LEVEL_TRACE);
    printText("%s\n", manyThen(longest, ""));
    printText("%s", manyThen(5000, "\n"));
    printText("%s", manyThen(5000, ""));
    ASSERT_EQ(log.entries().size(), 3U);
    for (const LogCapture::Entry &entry : log.entries()) EXPECT_EQ(entry.text, manyThen(longest - 4, "...\n"));
}

TEST(LogText, a_text_that_just_fits_is_not_cut)
{
    LogCapture log(ZYL_LOG_LEVEL_TRACE);
    printText("%s\n", manyThen(longest - 1, ""));
    printText("%s", manyThen(longest, ""));
    ASSERT_EQ(log.entries().size(), 2U);
    EXPECT_EQ(log.entries()[0].text, manyThen(longest - 1, "\n"));
    EXPECT_EQ(log.entries()[1].text, manyThen(longest, ""));
}

TEST(LogText, a_text_that_is_cut_does_not_swallow_the_next_line)
{
    StandardErrorTap tap;
    printText("%s\n", manyThen(5000, ""));
    printText("%s\n", "next");
    EXPECT_THAT(tap.writes(),
                testing::ElementsAre("[8] function: " + manyThen(longest - 4, "...\n"), "[8] function: next\n"));
}
