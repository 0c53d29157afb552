/// @file
/// See LogCapture.hpp.
#include "LogCapture.hpp"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "dds_c/dds_c_log.h"

namespace {

/// Pool threads may be looking at the mask just now.
void setMask(std::uint32_t &maskOut, std::uint32_t mask)
{
    std::atomic_ref<std::uint32_t>(maskOut).store(mask, std::memory_order_relaxed);
}

}  // namespace

LogCapture::LogCapture(std::uint32_t mask)
    : _oldLevels(DDSLog_g_instrumentationMask), _oldSubmodules(DDSLog_g_submoduleMask)
{
    ZYLLog_setSink(&LogCapture::receive, this);
    setMask(DDSLog_g_submoduleMask, UINT32_MAX);
    setMask(DDSLog_g_instrumentationMask, mask);
}

LogCapture::~LogCapture()
{
    setMask(DDSLog_g_instrumentationMask, _oldLevels);
    setMask(DDSLog_g_submoduleMask, _oldSubmodules);
    ZYLLog_setSink(nullptr, nullptr);
}

void LogCapture::receive(void *self, const ZYLLogRecord *record)
{
    auto *capture = static_cast<LogCapture *>(self);
    const std::lock_guard lock(capture->_mutex);
    capture->_entries.push_back({record->level, record->module, record->file, record->line, record->function,
                                 record->message_template, record->text});
}

std::vector<LogCapture::Entry> LogCapture::entries() const
{
    const std::lock_guard lock(_mutex);
    return _entries;
}

void LogCapture::clear()
{
    const std::lock_guard lock(_mutex);
    _entries.clear();
}

int LogCapture::count(std::uint32_t level, const ZYLLogTemplate &message) const
{
    const std::lock_guard lock(_mutex);
    return static_cast<int>(std::count_if(_entries.begin(), _entries.end(), [&](const Entry &entry) {
        return entry.level == level && entry.messageTemplate == message.name;
    }));
}

std::string LogCapture::print() const
{
    std::string all;
    for (const Entry &entry : entries())
        all += format("  [%X] %s (%s:%d) %s \"%s\"\n", entry.level, entry.function.c_str(), entry.file.c_str(),
                      entry.line, entry.messageTemplate.c_str(), entry.text.c_str());
    return all.empty() ? "  nothing\n" : all;
}

testing::AssertionResult LogCapture::has(std::uint32_t level, const ZYLLogTemplate &message,
                                         const std::string &text) const
{
    for (const Entry &entry : entries())
        if (entry.level == level && entry.messageTemplate == message.name && entry.text == text)
            return testing::AssertionSuccess();
    return testing::AssertionFailure() << "no message of level " << level << " from " << message.name << " says \""
                                       << text << "\"; printed:\n"
                                       << print();
}

testing::AssertionResult LogCapture::hasTrace(std::uint32_t level, const std::string &text) const
{
    for (const Entry &entry : entries())
        if (entry.level == level && entry.module == 0 && entry.text == text) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "no trace of level " << level << " says \"" << text << "\"; printed:\n"
                                       << print();
}

testing::AssertionResult LogCapture::hasCount(std::size_t expected) const
{
    const std::size_t size = entries().size();
    if (size == expected) return testing::AssertionSuccess();
    return testing::AssertionFailure() << expected << " messages expected, printed " << size << ":\n" << print();
}

std::string LogCapture::format(const char *format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}
