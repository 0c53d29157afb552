/// @file
/// The sinks of the log.
///
/// The application's sink is a pair, function and data, that must be read as one while another thread replaces it. It
/// is kept under a sequence number, odd while a writer is between the two stores: a reader that finds it odd, or
/// changed, reads again. Nothing is allocated and nothing is freed, so there is no old pair whose memory could go away
/// under a reader. The order follows from the pair's own accesses: who sees a new half of the pair sees the odd number
/// that was written before it, because each half is stored with release and loaded with acquire.
///
/// The default sink keeps what a thread prints until its newline, in the thread's own storage or, once the line has
/// outgrown that, in a block of the heap, and writes the line with one call (standard error is not buffered: one call
/// is one write). Memory that ends costs the rest of the line, never its newline. What a thread leaves unfinished is
/// written when it ends, or when it prints something that is no part of it.
///
/// Protection: thread-safe; no lock but for the first use of the default sink. Calls out: the application's sink.
#include "ZYLLogSink.hpp"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "../platform/Platform.hpp"
#include "ZYLOsapiHeap.pkg.h"

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

/// How a line ends, and how one that memory was too short for. Each buffer has room for either behind its text.
constexpr std::string_view lineEnd = "\n";
constexpr std::string_view cutLineEnd = "...\n";

/// What a thread has printed of its current line. All zero: nothing.
struct LineBuffer {
    std::size_t used;       ///< Not 0: the thread's exit writes the rest.
    const char *function;   ///< Who prints the line; only compared.
    char *block;            ///< Holds the line when it has outgrown `text`; else null.
    std::size_t blockSize;  ///< Of the block.
    bool isCut;             ///< Memory has ended: the rest of the line is left out.
    char text[512 - 2 * sizeof(std::size_t) - 2 * sizeof(char *) - sizeof(bool)];
};

char *textOf(LineBuffer &line)
{
    return line.block != nullptr ? line.block : line.text;
}

/// How much of a line the present buffer holds.
std::size_t capacityOf(const LineBuffer &line)
{
    return (line.block != nullptr ? line.blockSize : sizeof line.text) - cutLineEnd.size();
}

/// Move the line to a block that holds so much and as much again. Returns: false, and nothing changed, without memory.
bool grow(LineBuffer &line, std::size_t size)
{
    const std::size_t blockSize = 2 * size + cutLineEnd.size();
    char *const block = ZYLOsapiHeap_allocateArray<char>(blockSize, "log line");
    if (block == nullptr) return false;
    std::memcpy(block, textOf(line), line.used);
    ZYLOsapiHeap_freeArray(line.block);
    line.block = block;
    line.blockSize = blockSize;
    return true;
}

void append(LineBuffer &line, std::string_view part)
{
    if (line.isCut) return;
    if (part.size() > capacityOf(line) - line.used && !grow(line, line.used + part.size())) {
        part = part.substr(0, capacityOf(line) - line.used);
        line.isCut = true;
    }
    std::memcpy(textOf(line) + line.used, part.data(), part.size());
    line.used += part.size();
}

/// Write the line, and begin a new one.
void finish(LineBuffer &line)
{
    const std::string_view end = line.isCut ? cutLineEnd : lineEnd;
    std::memcpy(textOf(line) + line.used, end.data(), end.size());
    static_cast<void>(std::fwrite(textOf(line), 1, line.used + end.size(), stderr));
    ZYLOsapiHeap_freeArray(line.block);
    line.used = 0;
    line.block = nullptr;
    line.isCut = false;
}

void finishAtExit(void *block)
{
    finish(*static_cast<LineBuffer *>(block));
}

constinit platform::ThreadKey lineKey = platform::noThreadKey;
constinit ZYLPlatformOnce lineKeyOnce = {};

int makeLineKey(void * /*argument*/)
{
    lineKey = ZYLPlatform_createThreadKey(sizeof(LineBuffer), finishAtExit);
    return lineKey != platform::noThreadKey ? 1 : 0;
}

/// The calling thread's line, or null when the storage of a thread is used up.
LineBuffer *currentLine()
{
    if (ZYLPlatform_makeOnce(&lineKeyOnce, "lines of the log", makeLineKey, nullptr) == 0) return nullptr;
    return static_cast<LineBuffer *>(ZYLPlatform_threadBlock(lineKey));
}

/// Append a part of a line; the first one comes behind the line's head.
void addPart(LineBuffer &line, const ZYLLogRecord &record, std::string_view part)
{
    if (line.used == 0) {
        char head[160];
        const int length = std::snprintf(head, sizeof head, "[%X] %s: ", record.level, record.function);
        const auto size = static_cast<std::size_t>(length > 0 ? length : 0);
        append(line, {head, size < sizeof head ? size : sizeof head - 1});
        line.function = record.function;
    }
    append(line, part);
}

/// Add a text to the line, and write what it completes. A line goes on with what the same function prints next: a
/// message, or another function, begins a new one.
void addText(LineBuffer &line, const ZYLLogRecord &record, bool isLine)
{
    if (line.used != 0 && (isLine || line.function != record.function)) finish(line);
    std::string_view rest = record.text;
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        addPart(line, record, rest.substr(0, end));
        finish(line);
        rest.remove_prefix(end + 1);
    }
    if (isLine || !rest.empty()) addPart(line, record, rest);
    if (isLine) finish(line);
}

void printToStandardError(const ZYLLogRecord &record, bool isLine)
{
    LineBuffer *const line = currentLine();
    if (line != nullptr) return addText(*line, record, isLine);
    LineBuffer ownLine = {};  // Without storage there is nowhere to keep an unfinished line: it ends here.
    addText(ownLine, record, isLine);
    if (ownLine.used != 0) finish(ownLine);
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
