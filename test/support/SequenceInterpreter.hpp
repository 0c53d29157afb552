/// @file
/// Reads bytes as operations on a few sequences, carries each out on the real record and on a simple model, and
/// compares results, messages, records and elements after each. Random tests and the fuzzer feed it.
///
/// Protection: none; one run at a time. It takes over the log's sink while it runs.
#ifndef SEQUENCE_INTERPRETER_HPP
#define SEQUENCE_INTERPRETER_HPP

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

/// How often each operation succeeded and failed, by name.
struct SequenceOperationCounts {
    struct Count {
        long succeeded = 0;
        long failed = 0;
    };
    std::map<std::string, Count> counts;
};

/// While true, and while a SequenceHeapFault lives, the heap is out of memory.
extern bool sequenceHeapIsOutOfMemory;

/// Carry out the operations in `data`. The first byte picks the element type.
///
/// @param canRunOutOfMemory  whether a SequenceHeapFault lives.
/// @param countsInOut        counts are added to it; may be null.
/// @return an empty string, or what differed and the operations that led there.
std::string runSequenceOperations(const std::uint8_t *data, std::size_t size, bool canRunOutOfMemory,
                                  SequenceOperationCounts *countsInOut);

#endif
