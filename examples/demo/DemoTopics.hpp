/// @file
/// The topics, what a datagram looks like, and what the subscriber tells the publisher while data flows.
///
/// Protection: constants and pure functions; any thread.
#ifndef DEMO_TOPICS_HPP
#define DEMO_TOPICS_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace demo {

struct TopicInfo {
    const char *name;
    double rate_Hz;      ///< Times per second.
    std::size_t size;    ///< Bytes of a datagram.
    unsigned perTime;    ///< Datagrams each time: more than 1 for a burst source.
    unsigned work_ms;    ///< How long its handler works on what it has taken.
    std::size_t queued;  ///< Capacity of its queue, in datagrams: several seconds of data.
};

inline constexpr std::size_t topicCount = 8;
/// The topic that is attached while data flows, and detached again.
inline constexpr std::size_t lateTopic = topicCount - 1;

inline constexpr std::array<TopicInfo, topicCount> topics{{
    {"imu", 500, 64, 1, 0, 8192},
    {"odometry", 100, 96, 1, 0, 2048},
    {"radar", 50, 1200, 1, 0, 1024},
    {"lidar", 20, 6000, 1, 0, 512},
    {"camera", 15, 8000, 1, 30, 512},
    {"gps", 5, 160, 1, 0, 256},
    {"events", 2, 256, 200, 0, 8192},
    {"diagnosis", 40, 512, 1, 0, 2048},
}};

/// Begins every datagram.
struct DatagramHeader {
    std::uint32_t topic;
    std::uint32_t checksum;  ///< Of the payload and the sequence number.
    std::uint64_t sequence;  ///< 0, 1, 2 ... in each topic.
};

/// What the subscriber writes to the publisher, in one piece.
struct Acknowledgement {
    std::array<std::uint64_t, topicCount> received;  ///< Datagrams of each topic received so far.
    std::uint64_t isLateTopicWanted;                 ///< Whether the late topic is to be published now.
    std::uint64_t isEndWanted;                       ///< Whether the publisher is to end before its time.
};

/// What the publisher writes to the subscriber at its end.
struct PublisherReport {
    std::array<std::uint64_t, topicCount> sent;
};

/// Fill a datagram: header and a payload that follows from the seed and the number.
void fillDatagram(std::uint32_t topic, std::uint64_t sequence, std::uint64_t seed, std::span<std::byte> datagram);

/// Returns: whether it is a whole and unharmed datagram of the topic; then with its sequence number.
bool readDatagram(std::span<const std::byte> datagram, std::uint32_t topic, std::uint64_t &sequenceOut);

/// Nanoseconds of the steady clock.
std::int64_t now_ns();

}  // namespace demo

#endif
