/// @file
/// The closing tables of the demonstration, and what is wrong with what they show. Lines have at most 80 columns.
#ifndef DEMO_REPORT_HPP
#define DEMO_REPORT_HPP

#include <dds_c/dds_c_asyncwaitset_impl.h>

#include <vector>

#include "DemoTopics.hpp"
#include "Requests.hpp"
#include "ThreadTable.hpp"
#include "TopicReader.hpp"

namespace demo {

/// Print one row for each topic. Waits that overlap with a pause of the topic are left out of the times. In a complete
/// run something of every topic must have arrived.
/// Returns: whether every datagram was handled, once, by one handler at a time; otherwise after saying what is wrong.
bool reportTopics(const std::vector<TopicCounts> &counts, const PublisherReport &report,
                  const std::vector<std::vector<Interval>> &pauses, bool isComplete);

void reportThreads(const ThreadTable &threads);
/// CPU time of the pool threads at one moment, and of the process a moment later.
class CpuTimes {
public:
    /// Read them; the wait set is started.
    explicit CpuTimes(DDS_AsyncWaitSet *waitSet);
    ~CpuTimes();
    CpuTimes(const CpuTimes &) = delete;
    CpuTimes &operator=(const CpuTimes &) = delete;

    /// Print one row for each pool thread.
    /// Returns: whether there is one for each of `threadCount` threads and their sum lies within the process's time.
    bool report(unsigned threadCount);

private:
    DDS_AsyncWaitSetThreadPoolStats _stats;
    std::int64_t _process_ns;
};

void reportRequests(const Requests &requests);

}  // namespace demo

#endif
