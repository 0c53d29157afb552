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
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "DemoTopics.hpp"

namespace demo {
namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
/// A topic that could not be sent for a while catches up with this much of it.
constexpr std::int64_t mostCatchUp_ns = second_ns / 5;

/// One topic on its way out.
struct Source {
    int socket = -1;
    std::uint64_t window = 0;
    std::uint64_t sent = 0;
    std::uint64_t acknowledged = 0;
    unsigned pending = 0;         ///< Datagrams that are due and wait for the window.
    std::int64_t nextDue_ns = 0;  ///< When the next ones are due.
    bool isOn = true;

    bool hasCredit() const { return sent - acknowledged < window; }
};

class Publisher {
public:
    explicit Publisher(const Options &options) : _options(options), _random(options.seed), _sources(topicCount) {}

    bool open();
    bool run();
    void report() const;

private:
    void sendDue(std::size_t topic, std::int64_t now);
    void schedule(std::size_t topic, std::int64_t now);
    bool waitUntil(std::int64_t wake_ns);
    bool readAcknowledgement();

    const Options &_options;
    std::minstd_rand _random;
    std::vector<Source> _sources;
    std::vector<std::byte> _datagram;
};

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
            std::perror("demo publisher: socket");
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

void Publisher::sendDue(std::size_t topic, std::int64_t now)
{
    Source &source = _sources[topic];
    if (source.isOn && source.pending == 0 && source.nextDue_ns <= now) {
        source.pending = topics[topic].perTime;
        schedule(topic, now);
    }
    for (; source.pending > 0 && source.hasCredit(); --source.pending) {
        _datagram.resize(topics[topic].size);
        fillDatagram(static_cast<std::uint32_t>(topic), source.sent, _options.seed, _datagram);
        if (send(source.socket, _datagram.data(), _datagram.size(), 0) < 0) return;  // later, then
        ++source.sent;
    }
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
        if (now >= end_ns) return true;
        std::int64_t wake_ns = end_ns;
        for (std::size_t topic = 0; topic < topicCount; ++topic) {
            sendDue(topic, now);
            const Source &source = _sources[topic];
            if (source.isOn && source.pending == 0) wake_ns = std::min(wake_ns, source.nextDue_ns);
        }
        if (!waitUntil(wake_ns)) return false;
    }
}

void Publisher::report() const
{
    PublisherReport report{};
    for (std::size_t topic = 0; topic < topicCount; ++topic) report.sent[topic] = _sources[topic].sent;
    if (write(STDOUT_FILENO, &report, sizeof report) != static_cast<ssize_t>(sizeof report))
        std::perror("demo publisher: report");
}

}  // namespace

int runPublisher(const Options &options)
{
    Publisher publisher(options);
    if (!publisher.open() || !publisher.run()) return 1;
    publisher.report();
    return 0;
}

}  // namespace demo
