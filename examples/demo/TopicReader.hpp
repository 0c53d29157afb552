/// @file
/// One topic in the subscriber: its queue, its condition, and the handler that the pool runs.
///
/// Protection: `receive` belongs to the receiver thread. The handler runs on pool threads, one at a time: that is what
/// this program checks. Counts may be read by any thread.
#ifndef DEMO_TOPIC_READER_HPP
#define DEMO_TOPIC_READER_HPP

#include <dds_c/dds_c_asyncwaitset.h>

#include <atomic>
#include <memory>
#include <span>
#include <vector>

#include "DemoTopics.hpp"
#include "ThreadTable.hpp"
#include "TopicQueue.hpp"

namespace demo {

/// What is known about a topic at the end.
struct TopicCounts {
    std::uint64_t received = 0;   ///< Datagrams from the socket.
    std::uint64_t handled = 0;    ///< Datagrams that the handler took, in order and unharmed.
    std::uint64_t missing = 0;    ///< Sequence numbers that were skipped.
    std::uint64_t overflows = 0;  ///< Datagrams for which the queue had no room.
    std::uint64_t damaged = 0;    ///< Datagrams that were not what was sent, or out of order.
    unsigned mostAtOnce = 0;      ///< Handlers that ran at the same time.
    std::vector<Interval> waits;  ///< From trigger to handler.
};

class TopicReader {
public:
    TopicReader(std::size_t topic, ThreadTable &threads);
    TopicReader(const TopicReader &) = delete;
    TopicReader &operator=(const TopicReader &) = delete;

    /// Returns: whether the condition could be made.
    bool isValid() const { return _guard != nullptr; }
    DDS_Condition *condition() const { return DDS_GuardCondition_as_condition(_guard.get()); }

    /// Queue a datagram and trigger the condition.
    void receive(std::span<const std::byte> datagram);

    std::uint64_t received() const { return _received.load(std::memory_order_relaxed); }
    std::uint64_t handled() const { return _handled.load(std::memory_order_relaxed); }
    /// Whether nothing waits in the queue; meaningful when nothing more arrives.
    bool isSettled() const;
    TopicCounts counts() const;

private:
    struct Delete {
        void operator()(DDS_GuardCondition *guard) const { DDS_GuardCondition_delete(guard); }
    };

    static void onTriggered(void *self, DDS_Condition *condition);
    void handle();
    void take();

    const std::size_t _topic;
    ThreadTable &_threads;
    TopicQueue _queue;
    std::unique_ptr<DDS_GuardCondition, Delete> _guard;
    std::atomic<std::uint64_t> _received{0};
    std::atomic<std::uint64_t> _handled{0};
    std::atomic<std::uint64_t> _missing{0};
    std::atomic<std::uint64_t> _overflows{0};
    std::atomic<std::uint64_t> _damaged{0};
    std::atomic<unsigned> _inside{0};            // handlers that run now
    std::atomic<unsigned> _mostInside{0};        // the most that ever ran at once
    std::uint64_t _nextReceived = 0;             // sequence number that the receiver expects
    std::atomic<std::uint64_t> _nextHandled{0};  // sequence number that the handler expects at least
};

}  // namespace demo

#endif
