/// @file
/// The log's switches, the operation that sets one, and its three print operations.
///
/// A text is finished in a buffer on the stack, so that memory that has ended can be reported. One that is longer than
/// the buffer is cut and ends in three dots, and in a newline where newlines are part of the text: whether the whole
/// text would have ended its line cannot be told any more, and the next one must not become part of it.
///
/// Protection: thread-safe, no lock. Calls out: the application's sink.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "ZYLLog.pkg.h"
#include "ZYLLogSink.hpp"
#include "ZYLShared.pkg.hpp"

uint32_t DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_PRECONDITION | ZYL_LOG_LEVEL_WARNING;
uint32_t DDSLog_g_submoduleMask = UINT32_MAX;
uint32_t ZYLLog_g_categoryMask[8] = {};
int ZYLLog_g_detectPrecondition = 0;
int ZYLLog_g_preconditionDetected = 0;

namespace {

/// Longest text, terminator included.
constexpr std::size_t textSize = 2048;

/// The finished text of a message.
struct Text {
    char characters[textSize];

    /// `cutEnd` is how a text ends that is cut.
    template <std::size_t size>
    void format(const char *format, va_list arguments, const char (&cutEnd)[size])
    {
        const int length = std::vsnprintf(characters, sizeof characters, format, arguments);
        if (length < 0)
            characters[0] = '\0';
        else if (static_cast<std::size_t>(length) >= sizeof characters)
            std::memcpy(characters + sizeof characters - size, cutEnd, size);
    }
};

}  // namespace

void DDSLog_setInstrumentationMask(uint32_t levels)
{
    sharedWrite(DDSLog_g_instrumentationMask, levels);
}

void ZYLLogMessage_printWithParams(int, uint32_t level, uint32_t module, const char *file, int line,
                                   const char *function, const struct ZYLLogTemplate *message, ...)
{
    Text text;
    va_list arguments;
    va_start(arguments, message);
    text.format(message->format, arguments, "...");
    va_end(arguments);
    ZYLLogSink_deliver({level, module, file, line, function, message->name, text.characters}, true);
}

void ZYLLogParamString_printWithParams(int, uint32_t level, uint32_t module, const char *file, int line,
                                       const char *function, const char *format, ...)
{
    Text text;
    va_list arguments;
    va_start(arguments, format);
    text.format(format, arguments, "...\n");
    va_end(arguments);
    ZYLLogSink_deliver({level, module, file, line, function, format, text.characters}, false);
}

void ZYLLogMessageParamString_printWithParams(int instrument, uint32_t level, uint32_t module, const char *file,
                                              int line, const char *function, const struct ZYLLogTemplate *message,
                                              const char *argument)
{
    ZYLLogMessage_printWithParams(instrument, level, module, file, line, function, message, argument);
}
