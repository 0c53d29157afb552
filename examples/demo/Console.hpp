/// @file
/// What the demonstration says: progress and tables on standard output, failures on standard error.
///
/// Protection: any thread.
#ifndef DEMO_CONSOLE_HPP
#define DEMO_CONSOLE_HPP

#include <string>

namespace demo {

/// See to it that no socket and no pipe gets the number of a standard stream that the caller has closed.
/// Requires: nothing has been opened yet.
/// Returns: false after a message when standard output is closed.
bool holdStandardStreams();

/// Hand on what was printed so far, then say on standard error what has failed.
/// Blocks: as long as nobody reads a standard output that is full.
void sayFailed(const std::string &what);

/// Hand on what was printed so far.
/// Returns: false after a message when standard output does not take it, or has not taken something earlier.
bool flushOutput();

}  // namespace demo

#endif
