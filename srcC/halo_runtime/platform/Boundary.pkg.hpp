/// @file
/// The boundary to the application's code. Handlers, listeners, factories, comparisons, sinks and thread bodies are C
/// functions to the library, and an exception that leaves one has nowhere to go: it would unwind through frames that
/// own areas and are counted. So each is called through here, and one that does not return ends the process, with one
/// line that says which.
///
/// Who may call: everybody who calls out.
#ifndef BOUNDARY_PKG_HPP
#define BOUNDARY_PKG_HPP

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace platform {

/// Straight to standard error, whatever the log's mask and sink are, in one write. Does not return.
[[noreturn]] inline void endAtBoundary(const char *callback, const char *owner, const void *object,
                                       const char *what) noexcept
{
    char line[512];
    const int length = std::snprintf(
        line, sizeof line - 1, "asyncwaitset: %s of %s %p was left by %s%s", callback, owner, object,
        what != nullptr ? "an exception: " : "an exception or the thread's end", what != nullptr ? what : "");
    std::size_t end = length < 0 ? 0 : static_cast<std::size_t>(length);
    if (end > sizeof line - 2) end = sizeof line - 2;
    line[end] = '\n';
    std::fwrite(line, 1, end + 1, stderr);
    std::abort();
}

/// Call the application: `callback` is the callback's documented name, `owner` the kind of the object that it belongs
/// to. Forced unwinding (the end or the cancellation of the thread) is not let through either.
template <class Call>
inline auto callOut(const char *callback, const char *owner, const void *object, Call call) noexcept -> decltype(call())
{
    try {
        return call();
    } catch (const std::exception &exception) {
        endAtBoundary(callback, owner, object, exception.what());
    } catch (...) {
        endAtBoundary(callback, owner, object, nullptr);
    }
}

}  // namespace platform

#endif
