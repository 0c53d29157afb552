/// @file
/// The publisher process: sends the datagrams of all topics at their rates.
#ifndef DEMO_PUBLISHER_HPP
#define DEMO_PUBLISHER_HPP

#include "DemoOptions.hpp"

namespace demo {

/// Publish for `options.seconds`, then write a PublisherReport to standard output.
///
/// Reads acknowledgements from standard input, and ends early when they say so; ends at once, without a report, when
/// standard input is closed. A topic whose datagrams are not acknowledged pauses before it could overrun the receiver's
/// socket buffer.
/// Returns: the exit code of the process, not 0 after a message or when the subscriber is gone.
int runPublisher(const Options &options);

}  // namespace demo

#endif
