/// @file
/// The control interface of the simulated machine: run a body, and everything that it starts, under one seed.
///
/// One thread of the simulation runs at a time, all of them on the operating system's thread that called `run`. Which
/// one runs next is drawn from the seed at every operation of the platform, and time is virtual: it passes a little
/// with each step, and leaps to the next deadline when nobody can run (and now and then when somebody could).
///
/// Who may call: tests, from one thread of the operating system. Outside of `run` the platform behaves as a single
/// thread, for which blocking without a deadline is a dead-lock and ends the program.
#ifndef SIMULATION_HPP
#define SIMULATION_HPP

#include <cstdint>
#include <functional>
#include <string>

namespace sim {

struct Options {
    std::uint64_t seed = 1;
    std::uint64_t maxSteps = 2'000'000;  ///< A run that takes more is a live-lock.
    bool isTraced = false;               ///< Write one line for each step to standard error.
    /// Begin with nothing made yet of what a program makes once, and with all thread keys free. Requires: nothing is
    /// left that was made before.
    bool isFirstUse = false;
};

struct Result {
    std::uint64_t traceHash = 0;      ///< Of all steps and choices: the same seed and body give the same value.
    std::uint64_t steps = 0;          ///< Choices made.
    std::int64_t virtualTime_ns = 0;  ///< Virtual time that passed.
    std::string failure;              ///< Empty when all threads ended.
};

/// Run the body as the first simulated thread until all simulated threads have ended, or none of them can go on.
/// After a failure the remaining threads are abandoned: never resumed, their memory kept.
/// Calls out: the body.
Result run(const Options &options, const std::function<void()> &body);

/// Whether the caller is a simulated thread.
bool isRunning();

/// End the run that the caller is part of with this failure, and the list of threads. Does not return.
[[noreturn]] void fail(const std::string &text);

}  // namespace sim

#endif
