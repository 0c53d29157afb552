/// @file
/// What the tables of the demonstration show and what they call wrong, from counts that are made up here.
#include "Report.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using demo::Interval;
using demo::lateTopic;
using demo::PublisherReport;
using demo::topicCount;
using demo::TopicCounts;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

class Report : public testing::Test {
protected:
    /// A run in which every topic is well.
    Report()
    {
        for (std::size_t topic = 0; topic < topicCount; ++topic) {
            _report.sent[topic] = 100;
            _counts[topic].received = 100;
            _counts[topic].handled = 100;
            _counts[topic].mostAtOnce = 1;
        }
    }

    /// Print the table of topics.
    /// Returns: whether all is well.
    bool print(bool isComplete = true)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const bool isWell = demo::reportTopics(_counts, _report, _pauses, isComplete);
        _said = linesOf(testing::internal::GetCapturedStderr());
        _table = linesOf(testing::internal::GetCapturedStdout());
        return isWell;
    }

    std::vector<TopicCounts> _counts{topicCount};
    PublisherReport _report{};
    std::vector<std::vector<Interval>> _pauses{topicCount};
    std::vector<std::string> _table;
    std::vector<std::string> _said;
};

TEST_F(Report, what_is_well_gets_no_verdict)
{
    EXPECT_TRUE(print());
    EXPECT_THAT(_said, IsEmpty());
}

TEST_F(Report, each_fault_is_a_line_of_its_own_that_names_nothing_else)
{
    _counts[0].received = 97;
    _counts[0].handled = 95;
    _counts[2].missing = 4;
    _counts[3].overflows = 5;
    _counts[4].damaged = 6;
    _counts[5].mostAtOnce = 2;
    EXPECT_FALSE(print());
    EXPECT_THAT(
        _said, ElementsAre("demo: FAILED: imu: 3 lost on the way", "demo: FAILED: imu: 2 not handled",
                           "demo: FAILED: radar: 4 sequence gaps", "demo: FAILED: lidar: 5 without room in the queue",
                           "demo: FAILED: camera: 6 damaged or out of order", "demo: FAILED: gps: 2 handlers at once"));
}

TEST_F(Report, a_topic_of_which_nothing_arrived_is_wrong_in_a_complete_run_only)
{
    _counts[lateTopic] = {};
    _report.sent[lateTopic] = 0;
    EXPECT_FALSE(print());
    EXPECT_THAT(_said, ElementsAre("demo: FAILED: diagnosis: nothing arrived"));
    EXPECT_TRUE(print(false));
    EXPECT_THAT(_said, IsEmpty());
}

TEST_F(Report, the_lines_of_an_hour_and_of_slow_handlers_fit_80_columns)
{
    constexpr std::int64_t second_ns = 1'000'000'000;
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        _report.sent[topic] = 2'250'000;  // an hour of the fastest topic, with its jitter
        _counts[topic].received = 2'250'000;
        _counts[topic].handled = 2'250'000;
        for (int i = 0; i < 100; ++i) _counts[topic].waits.push_back({second_ns, second_ns * 3 / 2});
        for (int i = 0; i < 5; ++i) _counts[topic].waits.push_back({second_ns, 6 * second_ns});
    }
    EXPECT_TRUE(print());
    for (const std::string &line : _table) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_THAT(_table, testing::Contains(HasSubstr(" 2250000  2250000 2250000    0    1 500000 5000000 5000000")));
}

}  // namespace
