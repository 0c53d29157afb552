/// @file
/// See Console.hpp.
#include "Console.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace demo {

bool holdStandardStreams()
{
    const bool isOutputOpen = fcntl(STDOUT_FILENO, F_GETFD) >= 0;
    int descriptor = 0;
    do descriptor = open("/dev/null", O_RDWR);  // takes the lowest number that is free
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
    if (!isOutputOpen) sayFailed("standard output is closed");
    return isOutputOpen;
}

void sayFailed(const std::string &what)
{
    std::fflush(stdout);
    std::fprintf(stderr, "demo: FAILED: %s\n", what.c_str());
}

bool flushOutput()
{
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    const int error = errno != 0 ? errno : EIO;
    sayFailed(std::string("standard output: ") + std::strerror(error));
    return false;
}

}  // namespace demo
