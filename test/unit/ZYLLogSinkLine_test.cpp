// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
/// @file
/// Lines on standard error: each is one write, whatever its length and whatever memory there is.
#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

#include "StandardErrorTap.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLLog.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *heap = "ZYLOsapiHeap_reallocateMemoryInternal";

/// A part of a line, or the end of one.
void print(const std::string &text, const char *function = "function")
{
    ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_TRACE, 0, "f.cpp", 1, function, "%s", text.c_str());
}
/// A message from the catalog.
void fail(const std::string &what, const char *function = "function")
{
    ZYLLogMessage_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_MODULE_DDS, "f.cpp", 1,
                                  function, &ZYL_LOG_ANY_FAILURE_s, what.c_str());
}

class LogLine : public testing::Test {
protected:
    ~LogLine() override
    {
        doubles.heal();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    LogLine() = default;
    LogLine(const LogLine &) = delete;
    LogLine &operator=(const LogLine &) = delete;

    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    StandardErrorTap tap;
    Doubles doubles;
};

}  // namespace

TEST_F(LogLine, a_long_message_is_one_write)
{
    for (const std::size_t length : {std::size_t{400}, std::size_t{480}, std::size_t{520}, std::size_t{2000}}) {
        const std::string what(length, 'x');
        fail(what);
        EXPECT_THAT(tap.writes(), ElementsAre("[2] function: !" + what + "\n"));
    }
}

TEST_F(LogLine, a_line_of_many_prints_is_one_write_however_long_it_is)
{
    std::string line;
    for (char c = 'a'; c <= 'z'; ++c) {
        const std::string part(1500, c);
        print(part);
        line += part;
    }
    EXPECT_THAT(tap.writes(), IsEmpty());
    print("end\nnext ");
    print("line\n");
    EXPECT_THAT(tap.writes(), ElementsAre("[8] function: " + line + "end\n", "[8] function: next line\n"));
}

TEST_F(LogLine, long_lines_of_several_threads_do_not_mix)
{
    constexpr int lines = 10;
    std::vector<std::thread> threads;
    for (const char c : {'a', 'b', 'c'})
        threads.emplace_back([c] {
            for (int i = 0; i < lines; ++i) {
                print(std::string(600, c));
                print(std::string(900, c) + "\n");
            }
        });
    for (std::thread &thread : threads) thread.join();
    const Writes writes = tap.writes();
    EXPECT_EQ(writes.size(), 3U * lines);
    for (const char c : {'a', 'b', 'c'})
        EXPECT_EQ(std::count(writes.begin(), writes.end(), "[8] function: " + std::string(1500, c) + "\n"), lines);
}

TEST_F(LogLine, a_short_line_asks_for_no_memory)
{
    fail(std::string(400, 'x'));
    print("one ");
    print("two\n");
    EXPECT_EQ(doubles.count(heap), 0);
    EXPECT_EQ(tap.writes().size(), 2U);
}

TEST_F(LogLine, without_memory_a_long_line_is_cut_and_still_one_write_that_ends_in_a_newline)
{
    doubles.on(heap).failFrom(1);
    fail(std::string(2000, 'x'));
    fail("short");
    const Writes writes = tap.writes();
    ASSERT_EQ(writes.size(), 2U);
    EXPECT_GE(writes[0].size(), 400U) << "what there was room for";
    EXPECT_EQ(writes[0], "[2] function: !" + std::string(writes[0].size() - 19, 'x') + "...\n");
    EXPECT_EQ(writes[1], "[2] function: !short\n");
}

TEST_F(LogLine, without_memory_the_rest_of_a_line_of_many_prints_is_left_out)
{
    doubles.on(heap).failFrom(2);
    print(std::string(1000, 'a'));
    print(std::string(1500, 'b'));
    EXPECT_EQ(doubles.failedCount(), 1);
    doubles.heal();
    print("c");
    print("\n");
    print("next\n");
    const Writes writes = tap.writes();
    ASSERT_EQ(writes.size(), 2U);
    const std::string begin = "[8] function: " + std::string(1000, 'a');
    ASSERT_GT(writes[0].size(), begin.size());
    EXPECT_EQ(writes[0], begin + std::string(writes[0].size() - begin.size() - 4, 'b') + "...\n");
    EXPECT_EQ(writes[1], "[8] function: next\n");
}

TEST_F(LogLine, a_long_line_that_a_thread_leaves_unfinished_is_one_write_when_it_ends)
{
    std::thread([] { print(std::string(1500, 'x')); }).join();
    EXPECT_THAT(tap.writes(), ElementsAre("[8] function: " + std::string(1500, 'x') + "\n"));

    doubles.on(heap).onEveryThread().failFrom(1);
    std::thread([] { print(std::string(1500, 'x')); }).join();
    const Writes writes = tap.writes();
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0], "[8] function: " + std::string(writes[0].size() - 18, 'x') + "...\n");
}

TEST_F(LogLine, a_message_never_continues_an_unfinished_line)
{
    print("prefix: ");
    fail("message");
    EXPECT_THAT(tap.writes(), ElementsAre("[8] function: prefix: \n", "[2] function: !message\n"));
}

TEST_F(LogLine, an_unfinished_line_goes_on_in_its_own_function_only)
{
    static const char one[] = "one";
    static const char other[] = "other";
    print("prefix: ", one);
    print("event\n", other);
    print("a ", one);
    print("b\n", one);
    EXPECT_THAT(tap.writes(), ElementsAre("[8] one: prefix: \n", "[8] other: event\n", "[8] one: a b\n"));
}
