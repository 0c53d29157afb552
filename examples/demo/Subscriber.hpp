/// @file
/// The subscriber process: everything but the publisher.
#ifndef DEMO_SUBSCRIBER_HPP
#define DEMO_SUBSCRIBER_HPP

#include "DemoOptions.hpp"

namespace demo {

/// Start the publisher, receive and handle its data, reconfigure the wait set meanwhile, and report.
/// Returns: the exit code of the process.
int runSubscriber(const Options &options);

}  // namespace demo

#endif
