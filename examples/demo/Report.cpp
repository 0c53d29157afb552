/// @file
/// See Report.hpp.
#include "Report.hpp"

#include <time.h>

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <string>

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
    if (topic.perTime > 1) text += " x " + std::to_string(topic.perTime);
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

/// Say what is wrong with a topic.
/// Returns: whether nothing is.
bool judge(const TopicInfo &topic, const TopicCounts &counts, std::uint64_t lost)
{
    const std::uint64_t unhandled = counts.received - std::min(counts.received, counts.handled);
    const bool isWell = lost == 0 && counts.missing == 0 && counts.overflows == 0 && counts.damaged == 0 &&
                        unhandled == 0 && counts.mostAtOnce == 1 && counts.received > 0;
    if (!isWell) {
        std::fprintf(stderr,
                     "demo: FAILED: %s: %" PRIu64 " lost on the way, %" PRIu64 " sequence gaps, %" PRIu64
                     " without room in the queue, %" PRIu64 " damaged or out of order, %" PRIu64
                     " not handled, %u handlers at once\n",
                     topic.name, lost, counts.missing, counts.overflows, counts.damaged, unhandled, counts.mostAtOnce);
    }
    return isWell;
}

}  // namespace

bool reportTopics(const std::vector<TopicCounts> &counts, const PublisherReport &report,
                  const std::vector<std::vector<Interval>> &pauses)
{
    bool isWell = true;
    std::size_t leftOut = 0;
    std::printf("\n%-10s %7s %6s %8s %8s %8s %5s %8s %10s %10s %10s\n", "topic", "Hz", "bytes", "sent", "received",
                "handled", "lost", "at once", "p50 us", "p99 us", "max us");
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        const TopicInfo &info = topics[topic];
        const TopicCounts &count = counts[topic];
        const std::vector<std::int64_t> delays = sortedDelays(count.waits, pauses[topic]);
        leftOut += count.waits.size() - delays.size();
        const std::uint64_t lost = report.sent[topic] - std::min(report.sent[topic], count.received);
        std::printf("%-10s %7s %6zu %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %5" PRIu64 " %8u %10.1f %10.1f %10.1f\n",
                    info.name, rate(info).c_str(), info.size, report.sent[topic], count.received, count.handled,
                    lost + count.overflows, count.mostAtOnce, micro(percentile(delays, 50)),
                    micro(percentile(delays, 99)), micro(delays.empty() ? 0 : delays.back()));
        isWell = judge(info, count, lost) && isWell;
    }
    std::printf("times from trigger to handler, without %zu that fell into a pause: suspended, stopped or detached\n",
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
    std::printf("%-18s %10s %12.3f  of %.3f ms of the whole process; threads of the last start\n", "sum", "", sum_ms,
                process_ms);
    const bool isWell = length == static_cast<DDS_Long>(threadCount) && sum_ms > 0 && sum_ms <= process_ms;
    if (!isWell) std::fprintf(stderr, "demo: FAILED: the CPU times of the pool threads cannot be right\n");
    return isWell;
}

void reportRequests(const Requests &requests)
{
    std::printf("\n%-18s %12s %12s  %s\n", "request", "submitted us", "done us", "result");
    for (const RequestRecord &record : requests.records())
        std::printf("%-18s %12.1f %12.1f  %s\n", record.name.c_str(), micro(record.submitted_ns), micro(record.done_ns),
                    record.retCode == DDS_RETCODE_OK ? "OK" : "FAILED");
}

}  // namespace demo
