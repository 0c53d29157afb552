/// @file
/// The seam between the library and the machine. Everything that blocks, spins, tells the time, makes a thread or
/// belongs to a thread goes through these functions and through nothing else.
///
/// Two implementations stand behind them, chosen at link time: `std/` is the operating system, `sim/` is a
/// deterministic machine for tests, with one runnable thread at a time, a seeded scheduler and virtual time.
///
/// Who may call: the runtime (`zyl`, `vesk`, `dds`). The asynchronous wait set stands on the runtime, not on this.
#ifndef PLATFORM_HPP
#define PLATFORM_HPP

#include <cstddef>
#include <cstdint>

#include "Annotations.pkg.h"
#include "Once.pkg.h"

namespace platform {

// ---------------------------------------------------------------- what is handed across the seam

/// Settings of a new thread; zero and null mean the system's default.
struct ThreadSettings {
    const char *name = nullptr;          ///< Shortened to what the system allows.
    std::size_t stackSize = 0;           ///< Bytes.
    bool hasPriority = false;            ///< Whether `priority` counts.
    int priority = 0;                    ///< Of the policy that the system offers for it.
    const std::int32_t *cpus = nullptr;  ///< CPUs that the thread may run on.
    std::size_t cpuCount = 0;
};

/// Settings that the system refused; bits of ZYLPlatform_createThread's output.
enum Refused : unsigned { refusedName = 1U, refusedStackSize = 2U, refusedPriority = 4U, refusedCpus = 8U };

using ThreadBody = void *(*)(void *);
struct Thread;

/// Names a block of storage that every thread has.
using ThreadKey = std::uint32_t;
constexpr ThreadKey noThreadKey = 0xFFFFFFFFU;

/// Not recursive.
struct ZYL_CAPABILITY("mutex") Mutex {
    alignas(16) unsigned char storage[64];
};
struct Condition {
    alignas(16) unsigned char storage[64];
};

/// A point in time that never comes.
constexpr std::int64_t noDeadline_ns = INT64_MAX;

/// The place where a thread sleeps alone. One per thread, and its memory is never given back, so that it may be woken
/// by somebody who does not know whether it still runs: wake-ups can be stale, and every park stands in a loop.
struct Parker;

}  // namespace platform

// C linkage: each service has one name that a linker, a debugger and a profiler show alike.
extern "C" {

// ---------------------------------------------------------------- threads

/// Create a thread and let it run. A setting that the system refuses is left out and reported; a shortage, of threads
/// or of memory, is no refusal: then there is no thread. The thread blocks the signals that its creator blocks, and
/// from before it exists all others that do not tell of a fault or of consumed time.
/// Returns: null when no thread could be made.
platform::Thread *ZYLPlatform_createThread(const platform::ThreadSettings &settings, platform::ThreadBody body,
                                           void *argument, unsigned *refusedOut);

/// Wait until the thread has ended, exit hooks included, and free the record.
/// Blocks.
void ZYLPlatform_joinThread(platform::Thread *thread);

/// Read the id and the consumed CPU time of a thread made here.
/// Returns: false, with nothing written, for a handle that ZYLPlatform_createThread did not make or
/// ZYLPlatform_joinThread has freed.
bool ZYLPlatform_threadCpuTime(const void *thread, std::uint64_t *idOut, std::int64_t *cpuTimeOut_ns);

/// The calling thread's id, stable for its life.
std::uint64_t ZYLPlatform_currentThreadId();

// ---------------------------------------------------------------- storage of a thread

/// Reserve `size` bytes in every thread. They are zero when the thread first sees them.
/// `onExit`, if given, is called with the block's address in every thread that ends and had set the block's first
/// pointer-sized word to something other than zero. Keys are for ever.
/// Returns: the key, or `noThreadKey` when the storage of a thread is used up.
platform::ThreadKey ZYLPlatform_createThreadKey(std::size_t size, void (*onExit)(void *block));

/// The calling thread's block. Never fails; one address computation.
void *ZYLPlatform_threadBlock(platform::ThreadKey key);

// ---------------------------------------------------------------- mutex and condition variable

/// `name` appears in dead-lock reports and must outlive the mutex; so for a condition variable.
void ZYLPlatform_initMutex(platform::Mutex &mutex, const char *name);
void ZYLPlatform_destroyMutex(platform::Mutex &mutex);
void ZYLPlatform_lock(platform::Mutex &mutex) ZYL_ACQUIRE(mutex);
void ZYLPlatform_unlock(platform::Mutex &mutex) ZYL_RELEASE(mutex);

void ZYLPlatform_initCondition(platform::Condition &condition, const char *name);
void ZYLPlatform_destroyCondition(platform::Condition &condition);
/// Wait until woken, until the deadline, or for no reason at all; the mutex is released meanwhile.
/// Blocks.
void ZYLPlatform_waitCondition(platform::Condition &condition, platform::Mutex &mutex, std::int64_t deadline_ns)
    ZYL_REQUIRES(mutex);
void ZYLPlatform_wakeAll(platform::Condition &condition);

// ---------------------------------------------------------------- parking

platform::Parker *ZYLPlatform_currentParker();
/// Sleep until unparked (since the last park returned), until the deadline, or for no reason at all.
/// `reason` names what is waited for, for dead-lock reports; it must stay valid during the call.
/// Blocks.
void ZYLPlatform_park(std::int64_t deadline_ns, const char *reason);
void ZYLPlatform_unpark(platform::Parker *parker);

// ---------------------------------------------------------------- time and spinning

/// Monotonic time.
std::int64_t ZYLPlatform_now_ns();
/// Let another thread run.
void ZYLPlatform_yield();
/// One turn of a spin loop.
void ZYLPlatform_pause();

}  // extern "C"

namespace platform {

// ---------------------------------------------------------------- simulation

#if defined(ASYNCWAITSET_SIMULATION)
/// The scheduler may run another thread here. Stands before every access to a field that threads share without a lock
/// and in every operation of an exclusive area. Exists in the simulation build only.
void schedulingPoint();
/// Something that the protocol guarantees is not so: end the run with these words. Exists in the simulation build only.
[[noreturn]] void claimFailed(const char *text);
#else
inline void schedulingPoint() {}
#endif

/// Holds a mutex for a scope.
class ZYL_ANNOTATION_(scoped_lockable) Lock {
public:
    explicit Lock(Mutex &mutex) ZYL_ACQUIRE(mutex) : _mutex(mutex) { ZYLPlatform_lock(_mutex); }
    ~Lock() ZYL_RELEASE() { ZYLPlatform_unlock(_mutex); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

private:
    Mutex &_mutex;
};

}  // namespace platform

#endif
