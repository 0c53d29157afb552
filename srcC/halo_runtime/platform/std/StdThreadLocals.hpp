/// @file
/// What belongs to one thread of the operating system.
///
/// Protection: none needed; each thread touches its own.
/// Who may call: this folder.
#ifndef STD_THREAD_LOCALS_HPP
#define STD_THREAD_LOCALS_HPP

#include <cstddef>
#include <cstdint>

#include "../Platform.hpp"

namespace platform {

/// In bytes. The dynamic linker keeps little room for the thread-specific data of a library that is loaded while the
/// program runs: with 2048 such a library cannot be loaded.
constexpr std::size_t storageSize = 1024;

struct ThreadLocals {
    alignas(16) unsigned char storage[storageSize];
    bool hasExitHandler;  ///< Whether the end of the thread will be noticed.
    std::uint64_t id;     ///< 0 until first asked for.
    Parker *parker;       ///< Null until first asked for.
    Thread *record;       ///< Null unless ZYLPlatform_createThread made the thread.
};

/// One offset from the thread pointer, without a look-up.
extern __attribute__((tls_model("initial-exec"))) constinit thread_local ThreadLocals threadLocals;

/// See to it that the end of the calling thread runs the exit hooks.
void installExitHandler();

/// The last acts of the calling thread here: give the parker back, note the CPU time.
void giveParkerBack();
void noteEnd();

}  // namespace platform

#endif
