/// @file
/// What the library printed while a test ran: every message goes into a list instead of to standard error.
///
/// Protection: thread-safe. One capture at a time; make it before the library is used and let it go after the last
/// thread that may print has been joined.
#ifndef LOG_CAPTURE_HPP
#define LOG_CAPTURE_HPP

#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "halo_runtime/zyl/ZYLLogTemplates.pkg.h"

class LogCapture {
public:
    /// One printed message, copied.
    struct Entry {
        std::uint32_t level;
        std::uint32_t module;
        std::string file;
        int line;
        std::string function;
        std::string messageTemplate;
        std::string text;
    };

    /// Capture the levels of `mask`, of every submodule.
    explicit LogCapture(std::uint32_t mask = 0x3);
    /// Bring back the masks and the default sink.
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    std::vector<Entry> entries() const;
    void clear();
    /// How many messages of this level and template there are, whatever their arguments.
    int count(std::uint32_t level, const ZYLLogTemplate &message) const;
    /// All entries, one per line.
    std::string print() const;

    /// Success when a message of this level and template has exactly this text.
    testing::AssertionResult has(std::uint32_t level, const ZYLLogTemplate &message, const std::string &text) const;
    /// Success when a text outside the catalog was printed at this level.
    testing::AssertionResult hasTrace(std::uint32_t level, const std::string &text) const;
    /// Success when there are this many entries.
    testing::AssertionResult hasCount(std::size_t expected) const;

    /// The text of a message, as printf would make it.
    static std::string format(const char *format, ...);

private:
    static void receive(void *self, const struct ZYLLogRecord *record);

    mutable std::mutex _mutex;
    std::vector<Entry> _entries;
    std::uint32_t _oldLevels;
    std::uint32_t _oldSubmodules;
};

/// A message of this level was printed, from this template with these arguments.
#define EXPECT_LOG(capture_, level_, template_, ...) \
    EXPECT_TRUE((capture_).has(level_, template_, LogCapture::format((template_).format __VA_OPT__(, ) __VA_ARGS__)))
/// This many messages were printed.
#define EXPECT_LOG_COUNT(capture_, count_) EXPECT_TRUE((capture_).hasCount(count_))
/// Nothing was printed.
#define EXPECT_NO_LOG(capture_) EXPECT_TRUE((capture_).hasCount(0))
/// A trace text of this level was printed.
#define EXPECT_TRACE(capture_, level_, text_) EXPECT_TRUE((capture_).hasTrace(level_, text_))

#endif
