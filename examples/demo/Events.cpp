/// @file
/// See Events.hpp.
#include "Events.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>

namespace demo {
namespace {

sigset_t interruptOnly()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    return signals;
}

}  // namespace

Events::Events()
{
    struct sigaction action {};
    sigaction(SIGINT, nullptr, &action);
    if (action.sa_handler == SIG_IGN) return;
    const sigset_t signals = interruptOnly();
    _interrupts = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    // Held back in every thread and in the publisher as well, which a terminal signals, too: it has a report to write.
    if (_interrupts >= 0) pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

Events::~Events()
{
    if (_interrupts >= 0) close(_interrupts);
}

void Events::takeInterrupt()
{
    signalfd_siginfo taken;
    if (read(_interrupts, &taken, sizeof taken) != static_cast<ssize_t>(sizeof taken)) return;
    close(_interrupts);
    _interrupts = -1;
    const sigset_t signals = interruptOnly();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

Event Events::wait(int fromPublisher, std::chrono::milliseconds time)
{
    // Of standard output only its end is awaited, which a poll reports unasked.
    std::array<pollfd, 3> polled{{{_interrupts, POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {fromPublisher, POLLIN, 0}}};
    if (poll(polled.data(), polled.size(), static_cast<int>(time.count())) <= 0) return Event::none;
    if (polled[0].revents != 0) {
        takeInterrupt();
        return Event::interrupt;
    }
    return polled[1].revents != 0 ? Event::outputEnd : Event::publisherEnd;
}

}  // namespace demo
