/// @file
/// See Publisher.hpp. The process has one thread.
#include "Publisher.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "Console.hpp"
#include "DemoTopics.hpp"

namespace demo {
namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
/// A topic that could not be sent for a while catches up with this much of it.
constexpr std::int64_t mostCatchUp_ns = second_ns / 5;
/// When a datagram is tried again for which the system had no room.
constexpr std::int64_t retry_ns = second_ns / 1000;

/// Whether it is worth trying again, after a failed send.
bool isPassing(int error)
{
    return error == EAGAIN || error == EINTR || error == ENOBUFS || error == ENOMEM ||
           error == ECONNREFUSED;  // the subscriber is just ending
}

/// One topic on its way out.
struct Source {
    int socket = -1;
    std::uint64_t window = 0;
    std::uint64_t sent = 0;
    std::uint64_t acknowledged = 0;
    unsigned pending = 0;         ///< Datagrams that are due and wait for the window.
    std::int64_t nextDue_ns = 0;  ///< When the next ones are due.
    bool isOn = true;

    /// When there is something to do, if no acknowledgement arrives before.
    std::int64_t wake_ns(std::int64_t now) const;
    bool hasCredit() const { return sent - acknowledged < window; }
};

class Publisher {
public:
    explicit Publisher(const Options &options) : _options(options), _random(options.seed), _sources(topicCount) {}

    bool open();
    bool run();
    bool report() const;

private:
    bool sendDue(std::size_t topic, std::int64_t now);
    void schedule(std::size_t topic, std::int64_t now);
    bool waitUntil(std::int64_t wake_ns);
    bool readAcknowledgement();

    const Options &_options;
    std::minstd_rand _random;
    std::vector<Source> _sources;
    std::vector<std::byte> _datagram;
    bool _isEndWanted = false;
};

std::int64_t Source::wake_ns(std::int64_t now) const
{
    if (pending > 0) return hasCredit() ? now + retry_ns : INT64_MAX;
    return isOn ? nextDue_ns : INT64_MAX;
}

bool Publisher::open()
{
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        Source &source = _sources[topic];
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(_options.publishTo[topic].port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        source.window = _options.publishTo[topic].window;
        source.socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (source.socket < 0 || connect(source.socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
            sayFailed(std::string("the publisher's sockets: ") + std::strerror(errno));
            return false;
        }
    }
    _sources[lateTopic].isOn = false;
    return true;
}

/// The next time, up to a quarter of a period early or late.
void Publisher::schedule(std::size_t topic, std::int64_t now)
{
    Source &source = _sources[topic];
    const double period_ns = static_cast<double>(second_ns) / topics[topic].rate_Hz;
    const double jitter = std::uniform_real_distribution<double>(0.75, 1.25)(_random);
    source.nextDue_ns =
        std::max(source.nextDue_ns, now - mostCatchUp_ns) + static_cast<std::int64_t>(period_ns * jitter);
}

/// Returns: false after a message when nothing can be sent any more.
bool Publisher::sendDue(std::size_t topic, std::int64_t now)
{
    Source &source = _sources[topic];
    if (source.isOn && source.pending == 0 && source.nextDue_ns <= now) {
        source.pending = topics[topic].perTime;
        schedule(topic, now);
    }
    for (; source.pending > 0 && source.hasCredit(); --source.pending) {
        _datagram.resize(topics[topic].size);
        fillDatagram(static_cast<std::uint32_t>(topic), source.sent, _options.seed, _datagram);
        if (send(source.socket, _datagram.data(), _datagram.size(), 0) < 0) {
            if (isPassing(errno)) return true;  // later, then
            sayFailed(std::string("sending on loopback: ") + std::strerror(errno));
            return false;
        }
        ++source.sent;
    }
    return true;
}

/// Returns: false when the subscriber is gone.
bool Publisher::readAcknowledgement()
{
    Acknowledgement acknowledgement{};
    const ssize_t length = read(STDIN_FILENO, &acknowledgement, sizeof acknowledgement);
    if (length < 0) return errno == EINTR || errno == EAGAIN;
    if (length != static_cast<ssize_t>(sizeof acknowledgement)) return false;
    for (std::size_t topic = 0; topic < topicCount; ++topic)
        _sources[topic].acknowledged = acknowledgement.received[topic];
    _sources[lateTopic].isOn = acknowledgement.isLateTopicWanted != 0;
    _isEndWanted = acknowledgement.isEndWanted != 0;
    return true;
}

/// Returns: false when the subscriber is gone.
bool Publisher::waitUntil(std::int64_t wake_ns)
{
    const std::int64_t left_ns = std::max<std::int64_t>(wake_ns - now_ns(), 0);
    const timespec left{static_cast<time_t>(left_ns / second_ns), static_cast<long>(left_ns % second_ns)};
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const int ready = ppoll(&input, 1, &left, nullptr);
    return ready <= 0 || readAcknowledgement();
}

/// Returns: false when the subscriber is gone, or after a message.
bool Publisher::run()
{
    const std::int64_t begin_ns = now_ns();
    const std::int64_t end_ns = begin_ns + _options.seconds * second_ns;
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        _sources[topic].nextDue_ns = begin_ns;
        schedule(topic, begin_ns);
    }
    while (true) {
        const std::int64_t now = now_ns();
        if (now >= end_ns || _isEndWanted) return true;
        std::int64_t wake_ns = end_ns;
        for (std::size_t topic = 0; topic < topicCount; ++topic) {
            if (!sendDue(topic, now)) return false;
            wake_ns = std::min(wake_ns, _sources[topic].wake_ns(now));
        }
        if (!waitUntil(wake_ns)) return false;
    }
}

/// Returns: false when the subscriber is gone.
bool Publisher::report() const
{
    PublisherReport report{};
    for (std::size_t topic = 0; topic < topicCount; ++topic) report.sent[topic] = _sources[topic].sent;
    return write(STDOUT_FILENO, &report, sizeof report) == static_cast<ssize_t>(sizeof report);
}

}  // namespace

int runPublisher(const Options &options)
{
    Publisher publisher(options);
    return publisher.open() && publisher.run() && publisher.report() ? 0 : 1;
}

}  // namespace demo
