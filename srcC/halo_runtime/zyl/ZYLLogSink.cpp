/// @file
/// The sinks of the log.
///
/// The application's sink is a pair, function and data, that must be read as one while another thread replaces it. It
/// is kept under a sequence number, odd while a writer is between the two stores: a reader that finds it odd, or
/// changed, reads again. Nothing is allocated and nothing is freed, so there is no old pair whose memory could go away
/// under a reader. The order follows from the pair's own accesses: who sees a new half of the pair sees the odd number
/// that was written before it, because each half is stored with release and loaded with acquire.
///
/// The default sink keeps what a thread prints until its newline, in the thread's own storage, and writes the line with
/// one call (standard error is not buffered: one call is one write). What a thread leaves unfinished is written when it
/// ends.
///
/// Protection: thread-safe, no lock. Calls out: the application's sink.
#include "ZYLLogSink.hpp"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "../platform/Platform.hpp"

namespace {

std::atomic<unsigned> sinkSequence{0};
std::atomic<ZYLLogSink> sinkFunction{nullptr};
std::atomic<void *> sinkData{nullptr};

struct SinkPair {
    ZYLLogSink function;
    void *data;
};

SinkPair currentSink()
{
    for (;;) {
        const unsigned before = sinkSequence.load(std::memory_order_acquire);
        const SinkPair pair = {sinkFunction.load(std::memory_order_acquire), sinkData.load(std::memory_order_acquire)};
        const unsigned after = sinkSequence.load(std::memory_order_relaxed);
        if (before == after && (before & 1U) == 0) return pair;
        ZYLPlatform_pause();
    }
}

/// What a thread has printed of its current line.
struct LineBuffer {
    std::size_t used;  ///< Not 0: the thread's exit writes the rest.
    bool hasWritten;   ///< A first part of the line, too long for the buffer, is out.
    char text[512 - sizeof(std::size_t) - sizeof(bool)];
};

void writeOut(const char *text, std::size_t size)
{
    static_cast<void>(std::fwrite(text, 1, size, stderr));
}

void flush(LineBuffer &line)
{
    writeOut(line.text, line.used);
    line.used = 0;
}

void flushAtExit(void *block)
{
    auto *line = static_cast<LineBuffer *>(block);
    if (line->used < sizeof line->text) line->text[line->used++] = '\n';
    flush(*line);
}

/// The calling thread's line, or null when the storage of a thread is used up.
LineBuffer *currentLine()
{
    static const platform::ThreadKey key = ZYLPlatform_createThreadKey(sizeof(LineBuffer), flushAtExit);
    return key != platform::noThreadKey ? static_cast<LineBuffer *>(ZYLPlatform_threadBlock(key)) : nullptr;
}

/// Append; a line that is too long goes out in parts.
void append(LineBuffer &line, const char *text, std::size_t size)
{
    while (size > 0) {
        if (line.used == sizeof line.text) {
            flush(line);
            line.hasWritten = true;
        }
        const std::size_t room = sizeof line.text - line.used;
        const std::size_t part = size < room ? size : room;
        std::memcpy(line.text + line.used, text, part);
        line.used += part;
        text += part;
        size -= part;
    }
}

void appendHead(LineBuffer &line, const ZYLLogRecord &record)
{
    char head[160];
    const int length = std::snprintf(head, sizeof head, "[%X] %s: ", record.level, record.function);
    if (length <= 0) return;
    const auto size = static_cast<std::size_t>(length);
    append(line, head, size < sizeof head ? size : sizeof head - 1);
}

/// Add one line, or a part of one, that ends in a newline if it is complete.
void addPart(LineBuffer &line, const ZYLLogRecord &record, const char *text, std::size_t size, bool isComplete)
{
    if (line.used == 0 && !line.hasWritten) appendHead(line, record);
    append(line, text, size);
    if (!isComplete) return;
    flush(line);
    line.hasWritten = false;
}

void printToStandardError(const ZYLLogRecord &record, bool isLine)
{
    LineBuffer ownLine;
    LineBuffer *line = currentLine();
    if (line == nullptr) {  // Without storage there is nowhere to keep an unfinished line: it goes out as it is.
        ownLine.used = 0;
        ownLine.hasWritten = false;
        line = &ownLine;
    }
    const char *text = record.text;
    for (const char *end = std::strchr(text, '\n'); end != nullptr; end = std::strchr(text, '\n')) {
        addPart(*line, record, text, static_cast<std::size_t>(end + 1 - text), true);
        text = end + 1;
    }
    if (isLine) {
        addPart(*line, record, text, std::strlen(text), false);
        addPart(*line, record, "\n", 1, true);
    } else if (*text != '\0') {
        addPart(*line, record, text, std::strlen(text), false);
    }
    if (line == &ownLine && ownLine.used != 0) flush(ownLine);
}

}  // namespace

void ZYLLog_setSink(ZYLLogSink sink, void *sink_data)
{
    unsigned sequence = sinkSequence.load(std::memory_order_relaxed);
    while ((sequence & 1U) != 0 ||
           !sinkSequence.compare_exchange_weak(sequence, sequence + 1, std::memory_order_acquire)) {
        ZYLPlatform_pause();
        sequence = sinkSequence.load(std::memory_order_relaxed);
    }
    sinkFunction.store(sink, std::memory_order_release);
    sinkData.store(sink != nullptr ? sink_data : nullptr, std::memory_order_release);
    sinkSequence.store(sequence + 2, std::memory_order_release);
}

void ZYLLogSink_deliver(const ZYLLogRecord &record, bool isLine)
{
    const SinkPair sink = currentSink();
    if (sink.function != nullptr)
        sink.function(sink.data, &record);
    else
        printToStandardError(record, isLine);
}
