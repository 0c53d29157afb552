/// @file
/// The command line of the demonstration, for both of its processes.
#ifndef DEMO_OPTIONS_HPP
#define DEMO_OPTIONS_HPP

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

/// Where one topic goes, as the subscriber tells the publisher.
struct Destination {
    std::uint16_t port = 0;    ///< UDP port on loopback.
    std::uint32_t window = 0;  ///< Datagrams that may be on their way: sent and not yet acknowledged.
};

struct Options {
    std::string program;  ///< How this program was called.
    unsigned seconds = 10;
    unsigned threads = 4;
    std::uint64_t seed = 1;
    std::vector<Destination> publishTo;  ///< Not empty in the publisher process.
};

enum class ParseResult { run, help, bad };

/// Read the command line.
/// Returns: bad after a message on standard error; help after the help on standard output.
ParseResult parseOptions(int count, char **arguments, Options &optionsOut);

/// The value of the internal option `--publish-to`.
std::string formatDestinations(const std::vector<Destination> &destinations);

}  // namespace demo

#endif
