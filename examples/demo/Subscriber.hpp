/// @file
/// The subscriber process: everything but the publisher.
#ifndef DEMO_SUBSCRIBER_HPP
#define DEMO_SUBSCRIBER_HPP

#include "DemoOptions.hpp"

namespace demo {

/// Start the publisher, receive and handle its data, reconfigure the wait set meanwhile, and report.
/// Ends early, with the data handled so far, at the first Ctrl-C; at once, after saying why, when something is missing:
/// a thread, the publisher, loopback, a request's success, or a reader of standard output.
/// Returns: the exit code of the process, as the help says.
int runSubscriber(const Options &options);

}  // namespace demo

#endif
