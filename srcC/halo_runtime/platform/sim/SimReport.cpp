/// @file
/// What every thread was doing when a run failed.
#include "SimMachine.hpp"

namespace sim {

namespace {

std::string nameOf(const Thread *thread)
{
    return "thread " + std::to_string(thread->id) + " \"" + thread->name + "\"";
}

std::string quoted(const char *name)
{
    return std::string("\"") + (name != nullptr ? name : "") + "\"";
}

std::string doingOf(const Thread *thread)
{
    if (thread->state == State::ended) return "has ended, not joined";
    if (thread->state == State::runnable) return "can run";
    std::string text;
    switch (thread->wait.kind) {
        case WaitKind::mutex: {
            const Thread *owner = static_cast<const MutexState *>(thread->wait.object)->owner;
            text = "waits for mutex " + quoted(thread->wait.name) + ", held by " +
                   (owner != nullptr ? nameOf(owner) : std::string("nobody"));
            break;
        }
        case WaitKind::condition:
            text = "waits for condition " + quoted(thread->wait.name);
            break;
        case WaitKind::park:
            text = "is parked: " + quoted(thread->wait.name);
            break;
        case WaitKind::join:
            text = "waits for the end of " + nameOf(static_cast<const Thread *>(thread->wait.object));
            break;
        case WaitKind::once: {
            const auto *once = static_cast<const ZYLPlatformOnce *>(thread->wait.object);
            text = "waits until " + quoted(thread->wait.name) + " is made by " +
                   nameOf(static_cast<const Thread *>(once->_maker));
            break;
        }
        case WaitKind::none:
        default:
            text = "is blocked";
            break;
    }
    if (thread->deadline_ns != platform::noDeadline_ns) {
        text += ", for " + std::to_string(thread->deadline_ns - machine.now_ns) + " ns more";
    }
    return text;
}

}  // namespace

std::string report(const std::string &text)
{
    std::string lines = text;
    for (const Thread *thread = machine.first; thread != nullptr; thread = thread->next) {
        lines += "\n  " + nameOf(thread) + " " + doingOf(thread);
    }
    return lines;
}

}  // namespace sim
