/// @file
/// How often sleeping threads are woken, and threads that go on sleeping whoever wakes them.
///
/// Protection: thread-safe. Make it before the threads that it watches, so that it outlives them.
#ifndef SLEEP_WATCH_HPP
#define SLEEP_WATCH_HPP

// Replaces: ZYLPlatform_park ZYLPlatform_unpark
#include <atomic>

#include "doubles/Doubles.hpp"
#include "halo_runtime/platform/Platform.hpp"

class SleepWatch {
public:
    SleepWatch() { _doubles.on("ZYLPlatform_unpark").onEveryThread(); }

    /// From now on a thread that goes to sleep stays there, until `letWake`.
    void keepAsleep()
    {
        _isSleepKept = true;
        _doubles.on("ZYLPlatform_park").onEveryThread().instead([this](std::int64_t deadline_ns, const char *reason) {
            if (!_isSleepKept) Doubles::real<decltype(ZYLPlatform_park)>("ZYLPlatform_park")(deadline_ns, reason);
            while (_isSleepKept) ZYLPlatform_yield();
        });
    }
    void letWake() { _isSleepKept = false; }

    /// How many threads have been kept asleep.
    int keptCount() const { return _doubles.count("ZYLPlatform_park"); }
    /// How often somebody has woken a thread since the start or the last `clear`.
    int wakeCount() const { return _doubles.count("ZYLPlatform_unpark"); }
    void clear() { _doubles.clear(); }

private:
    std::atomic<bool> _isSleepKept{false};
    Doubles _doubles;
};

#endif
