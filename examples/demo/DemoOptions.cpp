/// @file
/// See DemoOptions.hpp.
#include "DemoOptions.hpp"

#include <charconv>
#include <cstdio>
#include <string_view>

#include "DemoTopics.hpp"

namespace demo {
namespace {

constexpr const char *helpText =
    "usage: demo [--seconds N] [--threads N] [--seed N] [--help]\n"
    "\n"
    "A publisher process sends sensor data as UDP datagrams on loopback; this\n"
    "process receives them, triggers one condition per topic, and an asynchronous\n"
    "wait set runs the handlers while it is being reconfigured.\n"
    "\n"
    "  --seconds N  how long data flows, 1 to 3600 (10)\n"
    "  --threads N  pool threads, 1 to 64 (4)\n"
    "  --seed N     of the payloads and the jitter (1)\n"
    "  --help       this text\n"
    "\n"
    "Ctrl-C ends the data and prints the summary so far.\n"
    "\n"
    "exit code: 0 all is well; 1 something was lost, ran twice at once, hung or\n"
    "could not be had; 2 bad option; 130 interrupted, all was well so far\n";

/// Returns: whether the whole text is a number of the range.
template <typename Number>
bool parseNumber(std::string_view text, Number low, Number high, Number &numberOut)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), numberOut);
    return error == std::errc() && end == text.data() + text.size() && numberOut >= low && numberOut <= high;
}

/// Parse "port:window,port:window,...", one for each topic.
bool parseDestinations(std::string_view text, std::vector<Destination> &destinationsOut)
{
    destinationsOut.clear();
    while (!text.empty()) {
        const std::string_view item = text.substr(0, text.find(','));
        const std::size_t colon = item.find(':');
        Destination destination;
        if (colon == std::string_view::npos ||
            !parseNumber<std::uint16_t>(item.substr(0, colon), 1, UINT16_MAX, destination.port) ||
            !parseNumber<std::uint32_t>(item.substr(colon + 1), 1, UINT32_MAX, destination.window)) {
            return false;
        }
        destinationsOut.push_back(destination);
        text.remove_prefix(item.size() < text.size() ? item.size() + 1 : item.size());
    }
    return destinationsOut.size() == topicCount;
}

/// Store the value of one option.
/// Returns: what the value should have been, or null when it is right or when there is no such option.
const char *parseValue(std::string_view name, std::string_view value, Options &optionsOut, bool &isKnownOut)
{
    isKnownOut = true;
    if (name == "--seconds")
        return parseNumber(value, 1U, 3600U, optionsOut.seconds) ? nullptr : "a number from 1 to 3600";
    if (name == "--threads") return parseNumber(value, 1U, 64U, optionsOut.threads) ? nullptr : "a number from 1 to 64";
    if (name == "--seed")
        return parseNumber<std::uint64_t>(value, 0, UINT64_MAX, optionsOut.seed) ? nullptr : "a number";
    if (name == "--publish-to")
        return parseDestinations(value, optionsOut.publishTo) ? nullptr : "a port and a window for each topic";
    isKnownOut = false;
    return nullptr;
}

}  // namespace

ParseResult parseOptions(int count, char **arguments, Options &optionsOut)
{
    if (count > 0) optionsOut.program = arguments[0];
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "--help" || argument == "-h") {
            std::fputs(helpText, stdout);
            return ParseResult::help;
        }
        // The value follows an equals sign or is the next argument.
        const std::size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        std::string value;
        if (equals != std::string::npos)
            value = argument.substr(equals + 1);
        else if (i + 1 < count)
            value = arguments[++i];
        bool isKnown = false;
        const char *expected = parseValue(name, value, optionsOut, isKnown);
        if (!isKnown) {
            std::fprintf(stderr, "demo: unknown option '%s' (try --help)\n", argument.c_str());
            return ParseResult::bad;
        }
        if (expected != nullptr) {
            std::fprintf(stderr, "demo: %s needs %s, not '%s'\n", name.c_str(), expected, value.c_str());
            return ParseResult::bad;
        }
    }
    return ParseResult::run;
}

std::string formatDestinations(const std::vector<Destination> &destinations)
{
    std::string text;
    for (const Destination &destination : destinations) {
        if (!text.empty()) text += ',';
        text += std::to_string(destination.port) + ':' + std::to_string(destination.window);
    }
    return text;
}

}  // namespace demo
