/// @file
/// The closing tables of the demonstration, and the verdict.
#ifndef DEMO_REPORT_HPP
#define DEMO_REPORT_HPP

#include <vector>

#include "DemoTopics.hpp"
#include "Requests.hpp"
#include "ThreadTable.hpp"
#include "TopicReader.hpp"

namespace demo {

/// Print one row for each topic. Waits that overlap with a pause of the topic are left out of the times.
/// Returns: whether every datagram was handled, once, by one handler at a time; otherwise after saying what is wrong.
bool reportTopics(const std::vector<TopicCounts> &counts, const PublisherReport &report,
                  const std::vector<std::vector<Interval>> &pauses);

void reportThreads(const ThreadTable &threads);
void reportRequests(const Requests &requests);

}  // namespace demo

#endif
