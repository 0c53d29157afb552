/// @file
/// The shape of all log words: an expression that prints if the gate is open and yields its first argument, so that a
/// check, its message and its result stand in one line. Each module derives its own words from these.
#ifndef ZYL_LOG_WORDS_PKG_HPP
#define ZYL_LOG_WORDS_PKG_HPP

#include <atomic>

#include "ZYLLog.pkg.h"

/// Whether a message of this level and submodule is printed now.
inline bool ZYLLog_isEnabled(std::uint32_t level, std::uint32_t submodule)
{
    const auto read = [](std::uint32_t &mask) {
        return std::atomic_ref<std::uint32_t>(mask).load(std::memory_order_relaxed);
    };
    return (read(DDSLog_g_instrumentationMask) & level) != 0 && (read(DDSLog_g_submoduleMask) & submodule) != 0;
}

/// What every precondition failure does after its message: flag and breakpoint hook.
extern "C" void ZYLLog_reportPrecondition(void);

/// Source file without its folder, at compile time.
consteval const char *ZYLLog_baseName(const char *path)
{
    const char *name = path;
    for (const char *c = path; *c != '\0'; ++c)
        if (*c == '/') name = c + 1;
    return name;
}

/// Print a catalog message if the gate is open.
#define ZYL_PRINT(level_, submodule_, message_, ...) ZYL_PRINT_FOR(__func__, level_, submodule_, message_, __VA_ARGS__)
/// The same in the name of another function.
#define ZYL_PRINT_FOR(function_, level_, submodule_, message_, ...)                                                \
    (ZYLLog_isEnabled(level_, submodule_)                                                                          \
         ? ZYLLogMessage_printWithParams(ZYL_LOG_INSTRUMENT_NONE, level_, ZYL_LOG_MODULE_DDS,                      \
                                         ZYLLog_baseName(__FILE__), __LINE__, function_, &(message_), __VA_ARGS__) \
         : static_cast<void>(0))

/// Print a format if the gate is open, in the name of another function.
#define ZYL_PRINT_TEXT_FOR(function_, level_, submodule_, ...)                                                         \
    (ZYLLog_isEnabled(level_, submodule_) ? ZYLLogParamString_printWithParams(0, level_, 0, ZYLLog_baseName(__FILE__), \
                                                                              __LINE__, function_, __VA_ARGS__)        \
                                          : static_cast<void>(0))
/// Print a format if the gate is open.
#define ZYL_PRINT_TEXT(level_, submodule_, ...) ZYL_PRINT_TEXT_FOR(__func__, level_, submodule_, __VA_ARGS__)

/// A precondition failure: message, flag, hook, value.
#define ZYL_PRECONDITION(result_, submodule_, text_)                                                     \
    (ZYL_PRINT(ZYL_LOG_LEVEL_PRECONDITION, submodule_, ZYL_LOG_PRECONDITION_FAILURE_s, "\"" text_ "\""), \
     ZYLLog_reportPrecondition(), (result_))

#endif
