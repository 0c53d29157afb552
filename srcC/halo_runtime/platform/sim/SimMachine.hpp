/// @file
/// The simulated machine: its threads, its clock, and the scheduler that picks who runs next.
///
/// Protection: none needed; there is one thread of the operating system, and its fibers switch nowhere but in
/// `schedule` and `block`. A function of the platform holds an `Unseen` while it touches any of this.
/// Who may call: the simulator.
#ifndef SIM_MACHINE_HPP
#define SIM_MACHINE_HPP

#include <string>

#include "../Platform.hpp"
#include "SimFiber.hpp"
#include "SimRandom.hpp"
#include "Simulation.hpp"

namespace sim {

/// What a thread was about to do, or had done, when the choice was made.
enum class Operation : std::uint8_t {
    start,
    end,
    create,
    join,
    lock,
    lockBlocked,
    unlock,
    wait,
    wake,
    park,
    unpark,
    yield,
    pause,
    point,
    make
};

enum class State : std::uint8_t { runnable, blocked, ended };

enum class WaitKind : std::uint8_t { none, mutex, condition, park, join, once };

/// What a blocked thread waits for; only for the eyes of the report and of whoever wakes it.
struct Wait {
    WaitKind kind = WaitKind::none;
    const void *object = nullptr;
    const char *name = nullptr;  ///< Of the object, or the reason of a park.
};

enum class Strategy : std::uint8_t { random, sticky, priorities };

/// Storage of a thread, in bytes; as much as on the other platform.
constexpr std::size_t storageSize = 1024;

}  // namespace sim

namespace platform {

struct Parker {
    Thread *sleeper;  ///< Whoever sleeps here now.
    bool hasToken;
    Parker *nextFree;
    Parker *nextOfAll;
};

struct Thread {
    std::uint64_t id;
    char name[16];
    ThreadBody body;
    void *argument;
    sim::Fiber fiber;
    sim::State state;
    sim::Wait wait;
    std::int64_t deadline_ns;
    std::int64_t priority;  ///< The highest runs, under the strategy of priorities.
    std::uint64_t steps;
    unsigned heldMutexes;
    bool isAbandoned;
    Parker *parker;
    Thread *next;  ///< In order of creation.
    alignas(16) unsigned char storage[sim::storageSize];
};

}  // namespace platform

namespace sim {

using platform::Thread;

constexpr std::int64_t startTime_ns = 1'000'000'000'000;
constexpr std::int64_t stepTime_ns = 1'000;

struct Machine {
    Thread *current;  ///< Never null: outside of a run, the thread that stands for the rest of the program.
    Thread *first;    ///< All threads of the run that are not joined.
    Thread *last;
    Thread *abandoned;  ///< Threads of failed runs.
    Fiber outside;      ///< Where `run` was called. For the thread sanitizer, all that a run did is released to it.
    bool isRunning;
    std::int64_t now_ns;
    unsigned life;  ///< Of the program: what is made once is made in one life. From 1.

    // What a run starts afresh with.
    Result *result;
    Options options;
    Random random;
    Strategy strategy;
    std::uint32_t leapOneIn;      ///< Chance to leap to a deadline although somebody can run.
    std::uint32_t spuriousOneIn;  ///< Chance that a wait ends for no reason; 0 for none.
    std::uint32_t changeOneIn;    ///< Chance that a step takes its thread's priority.
    std::uint32_t changesLeft;    ///< So often it may; afterwards only a thread that spins loses it.
    std::int64_t lowestPriority;
    std::uint64_t lastId;
    unsigned deadlines;  ///< Blocked threads that have one.
};

extern Machine machine;

/// Make a record that is not part of a run yet. Returns: null when there is no memory.
Thread *makeThread(const char *name, platform::ThreadBody body, void *argument);
/// Make the thread part of the run.
void addThread(Thread *thread);
/// Take an ended thread out of the run and free it.
void freeThread(Thread *thread);
/// Returns: whether it is the record of a thread of this run that nobody joined.
bool isKnownThread(const void *thread);

/// Let the seed choose who runs next. Returns when that is the caller again.
void schedule(Operation operation);
/// Sleep until woken, until the deadline, or, if that is allowed, now and then for no reason.
void block(Operation operation, const Wait &wait, std::int64_t deadline_ns, bool maySpuriouslyEnd);
void makeRunnable(Thread *thread);
/// Wake all threads that wait for the object.
void wakeWaiters(WaitKind kind, const void *object);

/// Outside of a run: the program can never go on.
[[noreturn]] void stuck(const char *what, const char *name);

/// Compose the failure: the text and what each thread does.
std::string report(const std::string &text);

/// Run the hooks of the calling thread's storage.
void runExitHooks();
/// All keys are free again.
void resetThreadKeys();

/// Make all parkers free, without tokens, in the order of their making.
void resetParkers();
/// Give the thread's parker to whoever comes next.
void giveParkerBack(Thread *thread);

/// What stands in the storage of a mutex and of a condition variable.
struct MutexState {
    const char *name;
    Thread *owner;
};
struct ConditionState {
    const char *name;
};
inline MutexState &stateOf(platform::Mutex &mutex)
{
    return *reinterpret_cast<MutexState *>(mutex.storage);
}
inline ConditionState &stateOf(platform::Condition &condition)
{
    return *reinterpret_cast<ConditionState *>(condition.storage);
}

}  // namespace sim

#endif
