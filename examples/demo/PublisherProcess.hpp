/// @file
/// The publisher process, seen from the subscriber: started, told what has arrived, asked for its report, and gone.
///
/// Protection: `acknowledge` belongs to one thread, the rest to another. The pipe that `acknowledge` writes to is
/// closed by the destructor only.
#ifndef DEMO_PUBLISHER_PROCESS_HPP
#define DEMO_PUBLISHER_PROCESS_HPP

#include <sys/types.h>

#include <vector>

#include "DemoOptions.hpp"
#include "DemoTopics.hpp"

namespace demo {

class PublisherProcess {
public:
    PublisherProcess() = default;
    /// Ends the process if it still runs.
    ~PublisherProcess();
    PublisherProcess(const PublisherProcess &) = delete;
    PublisherProcess &operator=(const PublisherProcess &) = delete;

    /// Start this program once more, as the publisher.
    /// Returns: whether it was started; otherwise after a message.
    bool start(const Options &options, const std::vector<Destination> &destinations);

    /// Tell it what has been received.
    /// Returns: false when the pipe is full or closed; a later acknowledgement says as much.
    bool acknowledge(const Acknowledgement &acknowledgement) const;

    /// A descriptor that becomes readable when it has written its report, or has ended without one; -1 after `finish`.
    int output() const { return _fromPublisher; }

    /// Wait for its report and its end.
    /// Returns: false after a message when it has ended without one, or with an error.
    /// Blocks: until the process has ended.
    bool finish(PublisherReport &reportOut);
    /// Whether it has been started and not yet been waited for.
    bool isRunning() const { return _process > 0; }

private:
    pid_t _process = -1;
    int _toPublisher = -1;
    int _fromPublisher = -1;
};

}  // namespace demo

#endif
