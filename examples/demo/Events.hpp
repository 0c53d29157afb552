/// @file
/// What the main thread looks out for while others work: Ctrl-C, the end of the publisher, nobody who reads its output.
///
/// Protection: belongs to one thread, and is made while there is no other: the others must not take the signal.
#ifndef DEMO_EVENTS_HPP
#define DEMO_EVENTS_HPP

#include <chrono>

namespace demo {

enum class Event { none, interrupt, outputEnd, publisherEnd };

class Events {
public:
    /// From here on the first Ctrl-C is an event. It stays ignored where the caller of this program ignores it.
    Events();
    ~Events();
    Events(const Events &) = delete;
    Events &operator=(const Events &) = delete;

    /// Wait for an event; after the interrupt, the next Ctrl-C ends the process.
    /// Returns: none when the time is over, or earlier.
    Event wait(int fromPublisher, std::chrono::milliseconds time);

private:
    void takeInterrupt();

    int _interrupts = -1;  // readable when Ctrl-C was pressed; -1 before and after
};

}  // namespace demo

#endif
