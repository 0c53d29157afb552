/// @file
/// See PublisherProcess.hpp.
#include "PublisherProcess.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "Console.hpp"

namespace demo {
namespace {

void closeEnd(int &descriptor)
{
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

/// In the new process: become the publisher, with one pipe as standard input and the other as standard output.
[[noreturn]] void become(char **arguments, int input, int output)
{
    if (dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0) {
        execv("/proc/self/exe", arguments);
        execv(arguments[0], arguments);  // where no /proc is mounted
    }
    _exit(127);
}

/// What is wrong with the end of the process, from what waitpid says.
std::string describeEnd(int status)
{
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return "was ended by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
    }
    const int code = WEXITSTATUS(status);
    if (code == 127) return "could not be started";
    return code == 0 ? "ended without a report" : "ended with exit code " + std::to_string(code);
}

}  // namespace

PublisherProcess::~PublisherProcess()
{
    closeEnd(_toPublisher);  // which ends the process by itself, but perhaps not at once
    closeEnd(_fromPublisher);
    if (_process > 0) {
        kill(_process, SIGKILL);
        waitpid(_process, nullptr, 0);
    }
}

bool PublisherProcess::start(const Options &options, const std::vector<Destination> &destinations)
{
    std::vector<std::string> texts{options.program,
                                   "--seconds",
                                   std::to_string(options.seconds),
                                   "--seed",
                                   std::to_string(options.seed),
                                   "--publish-to",
                                   formatDestinations(destinations)};
    std::vector<char *> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string &text : texts) arguments.push_back(text.data());
    arguments.push_back(nullptr);

    int input[2] = {-1, -1};
    int output[2] = {-1, -1};
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        sayFailed(std::string("a pipe to the publisher: ") + std::strerror(errno));
        closeEnd(input[0]);
        closeEnd(input[1]);
        return false;
    }
    _process = fork();
    if (_process == 0) become(arguments.data(), input[0], output[1]);
    closeEnd(input[0]);
    closeEnd(output[1]);
    _toPublisher = input[1];
    _fromPublisher = output[0];
    if (_process < 0) {
        sayFailed(std::string("the publisher process: ") + std::strerror(errno));
        return false;
    }
    // The receiver never waits for the publisher.
    return fcntl(_toPublisher, F_SETFL, O_NONBLOCK) == 0;
}

bool PublisherProcess::acknowledge(const Acknowledgement &acknowledgement) const
{
    return write(_toPublisher, &acknowledgement, sizeof acknowledgement) ==
           static_cast<ssize_t>(sizeof acknowledgement);
}

bool PublisherProcess::finish(PublisherReport &reportOut)
{
    reportOut = {};
    ssize_t length = 0;
    do length = read(_fromPublisher, &reportOut, sizeof reportOut);
    while (length < 0 && errno == EINTR);
    int status = 0;
    while (waitpid(_process, &status, 0) < 0 && errno == EINTR) {
    }
    _process = -1;
    closeEnd(_fromPublisher);
    const bool isWell =
        length == static_cast<ssize_t>(sizeof reportOut) && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!isWell) sayFailed("the publisher " + describeEnd(status));
    return isWell;
}

}  // namespace demo
