/// @file
/// The log: gate, catalog, sinks, preconditions.

// Replaces: ZYLLog_onAssertBreakpoint malloc realloc
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLLogWords.pkg.hpp"

// What `new` takes is malloc's, whose double sees it.
[[gnu::noinline]] void *operator new(std::size_t size)
{
    void *block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
[[gnu::noinline]] void operator delete(void *block) noexcept
{
    std::free(block);
}
[[gnu::noinline]] void operator delete(void *block, std::size_t) noexcept
{
    std::free(block);
}

namespace {

constexpr std::uint32_t submodule = DDS_SUBMODULE_MASK_ASYNC_WAITSET;

/// Standard error as a row of writes: each write arrives as one packet.
class StandardErrorTap {
public:
    StandardErrorTap()
    {
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, _ends));
        _saved = dup(2);
        dup2(_ends[1], 2);
    }
    ~StandardErrorTap()
    {
        dup2(_saved, 2);
        for (const int file : {_saved, _ends[0], _ends[1]}) close(file);
    }
    /// The writes since the last call.
    std::vector<std::string> writes()
    {
        std::vector<std::string> all;
        char packet[8192];
        for (;;) {
            const ssize_t size = recv(_ends[0], packet, sizeof packet, MSG_DONTWAIT);
            if (size < 0) return all;
            all.emplace_back(packet, static_cast<std::size_t>(size));
        }
    }

private:
    int _ends[2] = {-1, -1};
    int _saved = -1;
};

using Writes = std::vector<std::string>;

void printBadParameter(const char *name)
{
    ZYL_PRINT(ZYL_LOG_LEVEL_WARNING, submodule, DDS_LOG_BAD_PARAMETER_s, name);
}
void printTrace(const char *thread, const char *event)
{
    ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, submodule, "[AWS|%s]: ", thread);
    ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, submodule, "%s\n", event);
}
int checkSelf(const void *self)
{
    return self == nullptr ? ZYL_PRECONDITION(7, submodule, "self == ((void *)0)") : 1;
}

/// Opens every level for a test that reads standard error.
struct AllLevels {
    AllLevels() { DDSLog_g_instrumentationMask = UINT32_MAX; }
    ~AllLevels() { DDSLog_g_instrumentationMask = 0x3; }
};

struct ListedTemplate {
    const ZYLLogTemplate *object;
    const char *name;
};
#define LIST_TEMPLATE(name_, format_) {&name_, #name_},
const ListedTemplate catalog[] = {ZYL_LOG_TEMPLATES(LIST_TEMPLATE)};

std::string placeholders(const std::string &format)
{
    std::string kinds;
    for (std::size_t at = format.find('%'); at != std::string::npos; at = format.find('%', at + 1))
        kinds += format.at(at + 1);
    return kinds;
}

}  // namespace

TEST(LogGate, at_start_precondition_failures_and_warnings_of_all_submodules_are_printed)
{
    EXPECT_EQ(0x3u, DDSLog_g_instrumentationMask);
    EXPECT_EQ(UINT32_MAX, DDSLog_g_submoduleMask);
    for (const std::uint32_t mask : ZYLLog_g_categoryMask) EXPECT_EQ(0u, mask);
    EXPECT_EQ(0, ZYLLog_g_detectPrecondition);
    EXPECT_EQ(0, ZYLLog_g_preconditionDetected);
}

TEST(LogGate, a_message_prints_only_when_both_its_bits_are_set)
{
    LogCapture log(ZYL_LOG_LEVEL_WARNING);
    printBadParameter("self");
    EXPECT_LOG_COUNT(log, 1u);
    DDSLog_g_submoduleMask = ~submodule;
    printBadParameter("self");
    EXPECT_LOG_COUNT(log, 1u);
    DDSLog_g_submoduleMask = submodule;
    DDSLog_g_instrumentationMask = ~ZYL_LOG_LEVEL_WARNING;
    printBadParameter("self");
    EXPECT_LOG_COUNT(log, 1u);
    DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_WARNING;
    printBadParameter("self");
    EXPECT_LOG_COUNT(log, 2u);
}

TEST(LogGate, a_shut_gate_evaluates_nothing_and_allocates_nothing)
{
    LogCapture log(0);
    int evaluations = 0;
    const Doubles doubles;
    for (int i = 0; i < 100; ++i) {
        ZYL_PRINT(ZYL_LOG_LEVEL_WARNING, submodule, ZYL_LOG_MALLOC_FAILURE_d, ++evaluations);
        ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, submodule, "%d\n", ++evaluations);
    }
    EXPECT_THAT(doubles.calls(), testing::IsEmpty());
    EXPECT_EQ(0, evaluations);
    EXPECT_NO_LOG(log);
}

TEST(LogCatalog, each_template_knows_its_name_and_has_the_placeholders_that_its_suffix_tells)
{
    EXPECT_EQ(26u, std::size(catalog));
    for (const ListedTemplate &listed : catalog) {
        EXPECT_STREQ(listed.name, listed.object->name);
        const std::string name = listed.name;
        const std::string suffix = name.substr(name.rfind('_') + 1);
        const bool isSuffix = suffix.find_first_not_of("sd") == std::string::npos;
        const std::string expected = isSuffix ? suffix : (suffix == "TEMPLATE" ? "s" : "");
        EXPECT_EQ(expected, placeholders(listed.object->format)) << name;
    }
}

TEST(LogSink, an_application_sink_receives_the_whole_record)
{
    LogCapture log;
    printBadParameter("pool_stats");
    ASSERT_EQ(1u, log.entries().size());
    const LogCapture::Entry entry = log.entries()[0];
    EXPECT_EQ(ZYL_LOG_LEVEL_WARNING, entry.level);
    EXPECT_EQ(0xF0000u, entry.module);
    EXPECT_EQ("ZYLLog_test.cpp", entry.file);
    EXPECT_GT(entry.line, 0);
    EXPECT_EQ("printBadParameter", entry.function);
    EXPECT_EQ("DDS_LOG_BAD_PARAMETER_s", entry.messageTemplate);
    EXPECT_EQ("!bad parameter: pool_stats", entry.text);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "pool_stats");
}

TEST(LogSink, an_application_sink_receives_both_prints_of_a_trace_line)
{
    LogCapture log(ZYL_LOG_LEVEL_TRACE);
    printTrace("pool00", "spawned");
    ASSERT_EQ(2u, log.entries().size());
    EXPECT_TRACE(log, ZYL_LOG_LEVEL_TRACE, "[AWS|pool00]: ");
    EXPECT_TRACE(log, ZYL_LOG_LEVEL_TRACE, "spawned\n");
    EXPECT_EQ("[AWS|%s]: ", log.entries()[0].messageTemplate);
    EXPECT_EQ("%s\n", log.entries()[1].messageTemplate);
    EXPECT_EQ(0u, log.entries()[0].module);
}

TEST(LogSink, a_template_with_one_string_prints_like_any_message)
{
    LogCapture log;
    ZYLLogMessageParamString_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_MODULE_DDS,
                                             "f.cpp", 12, "function", &ZYL_LOG_GET_FAILURE_s, "worker");
    ASSERT_EQ(1u, log.entries().size());
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_GET_FAILURE_s, "worker");
    EXPECT_EQ(12, log.entries()[0].line);
    EXPECT_EQ(0xF0000u, log.entries()[0].module);
}

TEST(LogSink, a_text_without_end_is_cut)
{
    LogCapture log;
    printBadParameter(std::string(10000, 'x').c_str());
    const std::string text = log.entries().at(0).text;
    EXPECT_EQ(2047u, text.size());
    EXPECT_EQ("xxx...", text.substr(text.size() - 6));
}

TEST(LogSink, function_and_data_of_a_sink_stay_together_while_another_thread_replaces_them)
{
    struct Sink {
        std::atomic<int> received{0};
        std::atomic<int> foreign{0};
    };
    static Sink first;
    static Sink second;
    const auto toFirst = [](void *data, const ZYLLogRecord *) { ++(data == &first ? first.received : first.foreign); };
    const auto toSecond = [](void *data, const ZYLLogRecord *) {
        ++(data == &second ? second.received : second.foreign);
    };
    constexpr int prints = 20000;
    ZYLLog_setSink(toFirst, &first);
    std::atomic<int> printersLeft{2};
    const auto printAll = [&] {
        for (int i = 0; i < prints; ++i) printBadParameter("x");
        --printersLeft;
    };
    std::thread printer(printAll);
    std::thread otherPrinter(printAll);
    std::thread otherSetter([&] {
        while (printersLeft != 0) ZYLLog_setSink(toFirst, &first);
    });
    while (printersLeft != 0) ZYLLog_setSink(toSecond, &second);
    for (std::thread *thread : {&printer, &otherPrinter, &otherSetter}) thread->join();
    ZYLLog_setSink(nullptr, nullptr);
    EXPECT_EQ(0, first.foreign);
    EXPECT_EQ(0, second.foreign);
    EXPECT_EQ(2 * prints, first.received + second.received);
}

TEST(LogStandardError, a_message_is_one_line_and_one_write)
{
    StandardErrorTap tap;
    printBadParameter("self");
    printBadParameter("condition");
    EXPECT_EQ(
        (Writes{"[2] printBadParameter: !bad parameter: self\n", "[2] printBadParameter: !bad parameter: condition\n"}),
        tap.writes());
}

TEST(LogStandardError, printing_allocates_nothing)
{
    StandardErrorTap tap;
    printBadParameter("warm-up");
    const Doubles doubles;
    printBadParameter("self");
    EXPECT_THAT(doubles.calls(), testing::IsEmpty());
    EXPECT_EQ(2u, tap.writes().size());
}

TEST(LogStandardError, the_two_prints_of_a_trace_line_come_out_as_one_line)
{
    const AllLevels all;
    StandardErrorTap tap;
    printTrace("pool00", "spawned");
    EXPECT_EQ((Writes{"[8] printTrace: [AWS|pool00]: spawned\n"}), tap.writes());
}

TEST(LogStandardError, the_dispatch_level_is_shown_as_its_mask_bit)
{
    const AllLevels all;
    StandardErrorTap tap;
    ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_DISPATCH, 0, "f.cpp", 1, "function", "%s\n", "dispatch");
    EXPECT_EQ((Writes{"[40] function: dispatch\n"}), tap.writes());
}

TEST(LogStandardError, a_text_of_several_lines_is_written_line_by_line)
{
    const AllLevels all;
    StandardErrorTap tap;
    ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_TRACE, 0, "f.cpp", 1, "function", "%s", "one\ntwo\nthr");
    ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_TRACE, 0, "f.cpp", 1, "function", "%s", "ee\n");
    EXPECT_EQ((Writes{"[8] function: one\n", "[8] function: two\n", "[8] function: three\n"}), tap.writes());
}

TEST(LogStandardError, an_unfinished_line_of_one_thread_does_not_mix_with_lines_of_another)
{
    const AllLevels all;
    StandardErrorTap tap;
    const auto print = [](const char *text) {
        ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_TRACE, 0, "f.cpp", 1, "function", "%s", text);
    };
    print("mine ");
    std::thread([] { printTrace("other", "event"); }).join();
    EXPECT_EQ((Writes{"[8] printTrace: [AWS|other]: event\n"}), tap.writes());
    print("ends\n");
    EXPECT_EQ((Writes{"[8] function: mine ends\n"}), tap.writes());
}

TEST(LogStandardError, what_a_thread_leaves_unfinished_is_written_when_it_ends)
{
    const AllLevels all;
    StandardErrorTap tap;
    std::thread([] {
        ZYLLogParamString_printWithParams(0, ZYL_LOG_LEVEL_TRACE, 0, "f.cpp", 1, "function", "%s", "half");
    }).join();
    EXPECT_EQ((Writes{"[8] function: half\n"}), tap.writes());
}

TEST(LogStandardError, a_line_longer_than_the_buffer_comes_out_whole_and_is_one_write)
{
    StandardErrorTap tap;
    const std::string name(1500, 'y');
    printBadParameter(name.c_str());
    printBadParameter("self");
    EXPECT_EQ((Writes{"[2] printBadParameter: !bad parameter: " + name + "\n",
                      "[2] printBadParameter: !bad parameter: self\n"}),
              tap.writes());
}

TEST(LogStandardError, removing_the_application_sink_brings_it_back)
{
    StandardErrorTap tap;
    {
        LogCapture log;
        printBadParameter("captured");
        EXPECT_LOG_COUNT(log, 1u);
    }
    printBadParameter("self");
    EXPECT_EQ((Writes{"[2] printBadParameter: !bad parameter: self\n"}), tap.writes());
}

TEST(LogPrecondition, a_failure_prints_sets_the_flag_calls_the_hook_and_yields_its_value)
{
    LogCapture log;
    ZYLLog_g_detectPrecondition = 1;
    const Doubles doubles;
    EXPECT_EQ(7, checkSelf(nullptr));
    EXPECT_EQ(1, doubles.count("ZYLLog_onAssertBreakpoint"));
    EXPECT_EQ(1, ZYLLog_g_preconditionDetected);
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    ZYLLog_g_detectPrecondition = 0;
    ZYLLog_g_preconditionDetected = 0;
}

TEST(LogPrecondition, the_flag_is_set_only_when_the_application_asks_for_it)
{
    LogCapture log;
    const Doubles doubles;
    checkSelf(nullptr);
    EXPECT_EQ(0, ZYLLog_g_preconditionDetected);
    EXPECT_EQ(1, doubles.count("ZYLLog_onAssertBreakpoint"));
}

TEST(LogPrecondition, flag_and_hook_do_not_depend_on_the_gate)
{
    LogCapture log(0);
    ZYLLog_g_detectPrecondition = 1;
    const Doubles doubles;
    EXPECT_EQ(7, checkSelf(nullptr));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(1, ZYLLog_g_preconditionDetected);
    EXPECT_EQ(1, doubles.count("ZYLLog_onAssertBreakpoint"));
    ZYLLog_g_detectPrecondition = 0;
    ZYLLog_g_preconditionDetected = 0;
}
