/// @file
/// See DemoTopics.hpp.
#include "DemoTopics.hpp"

#include <chrono>
#include <cstring>

namespace demo {
namespace {

/// FNV-1a.
std::uint32_t checksum(std::span<const std::byte> payload, std::uint64_t sequence)
{
    std::uint32_t hash = 2166136261U ^ static_cast<std::uint32_t>(sequence * 0x9E3779B97F4A7C15U >> 32U);
    for (const std::byte value : payload) hash = (hash ^ std::to_integer<std::uint32_t>(value)) * 16777619U;
    return hash;
}

}  // namespace

void fillDatagram(std::uint32_t topic, std::uint64_t sequence, std::uint64_t seed, std::span<std::byte> datagram)
{
    const std::span<std::byte> payload = datagram.subspan(sizeof(DatagramHeader));
    std::uint64_t state = seed + sequence;
    for (std::byte &value : payload) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        value = static_cast<std::byte>(state >> 56U);
    }
    const DatagramHeader header{topic, checksum(payload, sequence), sequence};
    std::memcpy(datagram.data(), &header, sizeof header);
}

bool readDatagram(std::span<const std::byte> datagram, std::uint32_t topic, std::uint64_t &sequenceOut)
{
    if (datagram.size() != topics.at(topic).size) return false;
    DatagramHeader header;
    std::memcpy(&header, datagram.data(), sizeof header);
    sequenceOut = header.sequence;
    return header.topic == topic &&
           header.checksum == checksum(datagram.subspan(sizeof(DatagramHeader)), header.sequence);
}

std::int64_t now_ns()
{
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

}  // namespace demo
