/// @file
/// See TopicReader.hpp.
#include "TopicReader.hpp"

#include <chrono>
#include <thread>

namespace demo {

TopicReader::TopicReader(std::size_t topic, ThreadTable &threads)
    : _topic(topic),
      _threads(threads),
      _queue(topics[topic].queued, topics[topic].size),
      _guard(DDS_GuardCondition_new())
{
    const DDS_ConditionHandler handler{this, onTriggered};
    if (isValid() && DDS_Condition_set_handler(condition(), &handler) != DDS_RETCODE_OK) _guard.reset();
}

void TopicReader::receive(std::span<const std::byte> datagram)
{
    std::uint64_t sequence = 0;
    _received.fetch_add(1, std::memory_order_relaxed);
    if (!readDatagram(datagram, static_cast<std::uint32_t>(_topic), sequence) || sequence < _nextReceived) {
        _damaged.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    if (sequence > _nextReceived) _missing.fetch_add(sequence - _nextReceived, std::memory_order_relaxed);
    _nextReceived = sequence + 1;
    if (!_queue.push(datagram, now_ns())) {
        _overflows.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    // The data first, then the value that stands for it.
    DDS_GuardCondition_set_trigger_value(_guard.get(), DDS_BOOLEAN_TRUE);
}

void TopicReader::onTriggered(void *self, DDS_Condition *)
{
    static_cast<TopicReader *>(self)->handle();
}

void TopicReader::handle()
{
    const unsigned inside = _inside.fetch_add(1) + 1;
    unsigned most = _mostInside.load();
    while (inside > most && !_mostInside.compare_exchange_weak(most, inside)) {
    }
    _threads.countDispatch();
    const std::int64_t begin_ns = now_ns();
    // The value first, then the data that it stands for: what arrives from here on triggers again.
    DDS_GuardCondition_set_trigger_value(_guard.get(), DDS_BOOLEAN_FALSE);
    _queue.beginTaking(begin_ns);
    take();
    if (topics[_topic].work_ms != 0)  // stands for a computation on what was taken
        std::this_thread::sleep_for(std::chrono::milliseconds(topics[_topic].work_ms));
    _inside.fetch_sub(1);
}

void TopicReader::take()
{
    std::vector<std::byte> datagram(topics[_topic].size);
    std::uint64_t sequence = 0;
    while (_queue.pop(datagram)) {
        if (readDatagram(datagram, static_cast<std::uint32_t>(_topic), sequence) && sequence >= _nextHandled.load())
            _handled.fetch_add(1, std::memory_order_relaxed);
        else
            _damaged.fetch_add(1, std::memory_order_relaxed);
        _nextHandled.store(sequence + 1);
    }
}

bool TopicReader::isSettled() const
{
    return handled() + _damaged.load() + _overflows.load() >= received();
}

TopicCounts TopicReader::counts() const
{
    TopicCounts counts;
    counts.received = received();
    counts.handled = handled();
    counts.missing = _missing.load();
    counts.overflows = _overflows.load();
    counts.damaged = _damaged.load();
    counts.mostAtOnce = _mostInside.load();
    counts.waits = _queue.waits();
    return counts;
}

}  // namespace demo
