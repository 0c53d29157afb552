/// @file
/// See Report.hpp.
#include "Report.hpp"

#include <time.h>

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <string>

#include "Console.hpp"

namespace demo {
namespace {

double micro(std::int64_t time_ns)
{
    return static_cast<double>(time_ns) / 1e3;
}

/// Times per second, and how many datagrams each time.
std::string rate(const TopicInfo &topic)
{
    std::string text = std::to_string(std::lround(topic.rate_Hz));
    if (topic.perTime > 1) text.append("x").append(std::to_string(topic.perTime));
    return text;
}

/// The value below which this many per cent of the sorted values lie.
std::int64_t percentile(const std::vector<std::int64_t> &sorted, std::size_t percent)
{
    if (sorted.empty()) return 0;
    return sorted[std::min(sorted.size() - 1, sorted.size() * percent / 100)];
}

std::vector<std::int64_t> sortedDelays(const std::vector<Interval> &waits, const std::vector<Interval> &pauses)
{
    std::vector<std::int64_t> delays;
    for (const Interval &wait : waits) {
        const auto overlaps = [&](const Interval &pause) {
            return wait.begin_ns < pause.end_ns && pause.begin_ns < wait.end_ns;
        };
        if (std::ranges::none_of(pauses, overlaps)) delays.push_back(wait.end_ns - wait.begin_ns);
    }
    std::ranges::sort(delays);
    return delays;
}

/// Say what is wrong with a topic, one line for each fault.
/// Returns: whether nothing is.
bool judge(const TopicInfo &topic, const TopicCounts &counts, std::uint64_t lost, bool isComplete)
{
    struct Fault {
        std::uint64_t count;
        const char *name;
    };
    const std::uint64_t unhandled = counts.received - std::min(counts.received, counts.handled);
    bool isWell = counts.received > 0 || !isComplete;
    if (!isWell) sayFailed(std::string(topic.name) + ": nothing arrived");
    for (const Fault &fault :
         {Fault{lost, "lost on the way"}, Fault{counts.missing, "sequence gaps"},
          Fault{counts.overflows, "without room in the queue"}, Fault{counts.damaged, "damaged or out of order"},
          Fault{unhandled, "not handled"}, Fault{counts.mostAtOnce > 1 ? counts.mostAtOnce : 0, "handlers at once"}}) {
        if (fault.count == 0) continue;
        sayFailed(std::string(topic.name) + ": " + std::to_string(fault.count) + " " + fault.name);
        isWell = false;
    }
    return isWell;
}

}  // namespace

bool reportTopics(const std::vector<TopicCounts> &counts, const PublisherReport &report,
                  const std::vector<std::vector<Interval>> &pauses, bool isComplete)
{
    bool isWell = true;
    std::size_t leftOut = 0;
    std::printf("\n%-9s %5s %5s %7s %8s %7s %4s %4s %6s %7s %7s\n", "", "", "", "", "", "", "", "at", "p50", "p99",
                "max");
    std::printf("%-9s %5s %5s %7s %8s %7s %4s %4s %6s %7s %7s\n", "topic", "Hz", "bytes", "sent", "received", "handled",
                "lost", "once", "us", "us", "us");
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        const TopicInfo &info = topics[topic];
        const TopicCounts &count = counts[topic];
        const std::vector<std::int64_t> delays = sortedDelays(count.waits, pauses[topic]);
        leftOut += count.waits.size() - delays.size();
        const std::uint64_t lost = report.sent[topic] - std::min(report.sent[topic], count.received);
        std::printf("%-9s %5s %5zu %7" PRIu64 " %8" PRIu64 " %7" PRIu64 " %4" PRIu64 " %4u %6.0f %7.0f %7.0f\n",
                    info.name, rate(info).c_str(), info.size, report.sent[topic], count.received, count.handled,
                    lost + count.overflows, count.mostAtOnce, micro(percentile(delays, 50)),
                    micro(percentile(delays, 99)), micro(delays.empty() ? 0 : delays.back()));
        isWell = judge(info, count, lost, isComplete) && isWell;
    }
    std::printf("times from trigger to handler, without %zu that fell into a pause:\nsuspended, stopped or detached\n",
                leftOut);
    return isWell;
}

void reportThreads(const ThreadTable &threads)
{
    std::printf("\n%-18s %10s\n", "thread", "dispatches");
    for (const auto &[name, dispatches] : threads.rows())
        std::printf("%-18s %10" PRIu64 "\n", name.c_str(), dispatches.load());
}

CpuTimes::CpuTimes(DDS_AsyncWaitSet *waitSet)
{
    DDS_AsyncWaitSetThreadPoolStats_initialize(&_stats);
    DDS_AsyncWaitSet_get_thread_pool_statsI(waitSet, &_stats);
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    _process_ns = time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

CpuTimes::~CpuTimes()
{
    DDS_AsyncWaitSetThreadPoolStats_finalize(&_stats);
}

bool CpuTimes::report(unsigned threadCount)
{
    ZYLOsapiThreadCpuInfoSeq *infos = &_stats.thread_pool_info;
    const DDS_Long length = ZYLOsapiThreadCpuInfoSeq_get_length(infos);
    double sum_ms = 0;
    std::printf("\n%-18s %10s %12s\n", "pool thread", "id", "CPU ms");
    for (DDS_Long i = 0; i < length; ++i) {
        const ZYLOsapiThreadCpuInfo info = ZYLOsapiThreadCpuInfoSeq_get(infos, i);
        const double time_ms =
            1e3 * (static_cast<double>(info.cpuTime.sec) + static_cast<double>(info.cpuTime.frac) / 4294967296.0);
        sum_ms += time_ms;
        std::printf("%-18d %10" PRIu64 " %12.3f\n", i, info.id, time_ms);
    }
    const double process_ms = static_cast<double>(_process_ns) / 1e6;
    std::printf("%-18s %10s %12.3f  of %.3f ms of the process\n(the threads of the last start)\n", "sum", "", sum_ms,
                process_ms);
    const bool isWell = length == static_cast<DDS_Long>(threadCount) && sum_ms > 0 && sum_ms <= process_ms;
    if (!isWell) sayFailed("the CPU times of the pool threads cannot be right");
    return isWell;
}

void reportRequests(const Requests &requests)
{
    std::printf("\n%-18s %12s %12s\n", "request", "submitted us", "done us");
    for (const RequestRecord &record : requests.records())
        std::printf("%-18s %12.1f %12.1f\n", record.name.c_str(), micro(record.submitted_ns), micro(record.done_ns));
}

}  // namespace demo
