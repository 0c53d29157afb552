/// @file
/// See Receiver.hpp.
#include "Receiver.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "Console.hpp"

namespace demo {
namespace {

/// How often the thread looks for orders while no data arrives.
constexpr int look_ms = 10;

/// How many datagrams of this size surely fit into the socket's buffer, where each costs more than its bytes.
std::uint32_t windowFor(int bufferSize, std::size_t datagramSize)
{
    const std::size_t cost = 2 * datagramSize + 1024;
    return static_cast<std::uint32_t>(std::clamp<std::size_t>(static_cast<std::size_t>(bufferSize) / 2 / cost, 2, 256));
}

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Whether there is a way to loopback; where its interface is down, sockets can be bound to it all the same.
bool isLoopbackUp()
{
    const sockaddr_in address = loopback(1);  // any port: nothing is sent
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return true;  // openSocket says why
    const bool isUp = connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    if (!isUp) sayFailed(std::string("127.0.0.1: ") + std::strerror(errno) + "; is the loopback interface up?");
    close(descriptor);
    return isUp;
}

/// Open a socket on loopback.
/// Returns: -1 after a message.
int openSocket(Destination &destinationOut, std::size_t datagramSize)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    int bufferSize = 1 << 20;
    socklen_t sizeLength = sizeof bufferSize;
    // The system may grant less than what is asked for; what it has granted decides.
    if (descriptor >= 0) setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    if (descriptor < 0 || getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bufferSize, &sizeLength) != 0 ||
        bind(descriptor, reinterpret_cast<sockaddr *>(&address), length) != 0 ||
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        sayFailed(std::string("a socket on loopback: ") + std::strerror(errno));
        if (descriptor >= 0) close(descriptor);
        return -1;
    }
    destinationOut = {ntohs(address.sin_port), windowFor(bufferSize, datagramSize)};
    return descriptor;
}

}  // namespace

Receiver::~Receiver()
{
    stop();
    for (const int descriptor : _sockets)
        if (descriptor >= 0) close(descriptor);
}

std::vector<Destination> Receiver::open()
{
    if (!isLoopbackUp()) return {};
    std::vector<Destination> destinations(topicCount);
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        _sockets[topic] = openSocket(destinations[topic], topics[topic].size);
        if (_sockets[topic] < 0) return {};
    }
    return destinations;
}

void Receiver::start(const PublisherProcess &publisher)
{
    _thread = std::thread([this, &publisher] { run(publisher); });
}

void Receiver::stop()
{
    _isStopping.store(true);
    if (_thread.joinable()) _thread.join();
}

/// Take everything that is in a socket.
/// Returns: whether there was anything.
bool Receiver::drain(std::size_t topic)
{
    std::array<std::byte, 65536> datagram;
    bool hasReceived = false;
    while (true) {
        const ssize_t length = recv(_sockets[topic], datagram.data(), datagram.size(), 0);
        if (length < 0) return hasReceived;
        _readers[topic]->receive(std::span(datagram).first(static_cast<std::size_t>(length)));
        hasReceived = true;
    }
}

/// Returns: whether the publisher has been told.
bool Receiver::tell(const PublisherProcess &publisher, const Orders &orders) const
{
    Acknowledgement acknowledgement{{}, orders.isLateTopicWanted ? 1U : 0U, orders.isEndWanted ? 1U : 0U};
    for (std::size_t topic = 0; topic < topicCount; ++topic)
        acknowledgement.received[topic] = _readers[topic]->received();
    return publisher.acknowledge(acknowledgement);
}

void Receiver::run(const PublisherProcess &publisher)
{
    std::array<pollfd, topicCount> polled{};
    for (std::size_t topic = 0; topic < topicCount; ++topic) polled[topic] = {_sockets[topic], POLLIN, 0};
    Orders told;
    bool isNewsUntold = false;
    while (true) {
        const bool isStopping = _isStopping.load();  // before the last look at the sockets
        const Orders orders{_isLateTopicWanted.load(), _isEndWanted.load()};
        poll(polled.data(), polled.size(), isStopping ? 0 : look_ms);
        isNewsUntold = isNewsUntold || orders != told;
        for (std::size_t topic = 0; topic < topicCount; ++topic)
            if (drain(topic)) isNewsUntold = true;
        if (isNewsUntold) {
            isNewsUntold = !tell(publisher, orders);
            told = orders;
        }
        if (isStopping) return;
    }
}

}  // namespace demo
