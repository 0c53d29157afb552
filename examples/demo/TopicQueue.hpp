/// @file
/// A bounded queue of datagrams of one size, and the time since when they have been waiting.
///
/// Protection: thread-safe.
#ifndef DEMO_TOPIC_QUEUE_HPP
#define DEMO_TOPIC_QUEUE_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace demo {

/// A span of the steady clock.
struct Interval {
    std::int64_t begin_ns;
    std::int64_t end_ns;
};

class TopicQueue {
public:
    TopicQueue(std::size_t capacity, std::size_t size) : _capacity(capacity), _size(size), _slots(capacity * size) {}

    /// Append a datagram of the right size; the first one after a `beginTaking` notes the time.
    /// Returns: false when the queue is full; then the datagram is gone.
    bool push(std::span<const std::byte> datagram, std::int64_t now_ns)
    {
        const std::lock_guard lock(_mutex);
        if (_used == _capacity) return false;
        std::ranges::copy(datagram, slot((_first + _used) % _capacity).begin());
        ++_used;
        if (_waitingSince_ns == 0) _waitingSince_ns = now_ns;
        return true;
    }

    /// Note how long the first datagram has been waiting, if one is.
    void beginTaking(std::int64_t now_ns)
    {
        const std::lock_guard lock(_mutex);
        if (_waitingSince_ns != 0) _waits.push_back({_waitingSince_ns, now_ns});
        _waitingSince_ns = 0;
    }

    /// Take the oldest datagram.
    /// Returns: false when there is none.
    bool pop(std::span<std::byte> datagramOut)
    {
        const std::lock_guard lock(_mutex);
        if (_used == 0) {
            _waitingSince_ns = 0;  // what came after beginTaking has been taken, too
            return false;
        }
        std::ranges::copy(slot(_first), datagramOut.begin());
        _first = (_first + 1) % _capacity;
        --_used;
        return true;
    }

    /// All times from a trigger to its handler so far.
    std::vector<Interval> waits() const
    {
        const std::lock_guard lock(_mutex);
        return _waits;
    }

private:
    std::span<std::byte> slot(std::size_t index) { return std::span(_slots).subspan(index * _size, _size); }

    const std::size_t _capacity;
    const std::size_t _size;
    mutable std::mutex _mutex;  // protects everything below
    std::vector<std::byte> _slots;
    std::size_t _first = 0;
    std::size_t _used = 0;
    std::int64_t _waitingSince_ns = 0;  // 0: nobody has been triggered
    std::vector<Interval> _waits;
};

}  // namespace demo

#endif
