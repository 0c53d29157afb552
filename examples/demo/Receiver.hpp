/// @file
/// The receiver thread of the subscriber: takes datagrams from the sockets, gives them to the readers, and tells the
/// publisher what has arrived.
///
/// Protection: all operations belong to the thread that made the receiver, except the orders to the publisher:
/// `wantLateTopic` and `wantEnd` (any thread).
#ifndef DEMO_RECEIVER_HPP
#define DEMO_RECEIVER_HPP

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "DemoOptions.hpp"
#include "PublisherProcess.hpp"
#include "TopicReader.hpp"

namespace demo {

using Readers = std::array<std::unique_ptr<TopicReader>, topicCount>;

class Receiver {
public:
    explicit Receiver(Readers &readers) : _readers(readers) { _sockets.fill(-1); }
    /// Stops the thread.
    ~Receiver();
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    /// Open the sockets, on ports that the system chooses.
    /// Returns: where to publish to; nothing after a message when a socket could not be had or loopback is down.
    std::vector<Destination> open();

    /// Throws: std::system_error when the thread could not be had.
    void start(const PublisherProcess &publisher);
    /// Take what is in the sockets, and end the thread.
    void stop();

    /// Whether the late topic is to be published.
    void wantLateTopic(bool isWanted) { _isLateTopicWanted.store(isWanted); }
    /// The publisher is to end before its time.
    void wantEnd() { _isEndWanted.store(true); }

private:
    /// What the publisher is to be told beside the counts.
    struct Orders {
        bool isLateTopicWanted = false;
        bool isEndWanted = false;
        bool operator==(const Orders &) const = default;
    };

    bool tell(const PublisherProcess &publisher, const Orders &orders) const;
    void run(const PublisherProcess &publisher);
    bool drain(std::size_t topic);

    Readers &_readers;
    std::array<int, topicCount> _sockets{};
    std::atomic<bool> _isLateTopicWanted{false};
    std::atomic<bool> _isEndWanted{false};
    std::atomic<bool> _isStopping{false};
    std::thread _thread;
};

}  // namespace demo

#endif
