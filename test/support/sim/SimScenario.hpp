/// @file
/// What tests of schedules are written with: a body that runs under many seeds, and threads for it.
#ifndef SIM_SCENARIO_HPP
#define SIM_SCENARIO_HPP

#include <functional>
#include <string>

#include "TestLine.hpp"
#include "halo_runtime/platform/Platform.hpp"

/// Run the body under the seeds 1 to `seeds`, after once under seed 0, so that what the program makes only once is
/// there under each of them. Stops at the first seed under which the run or an assertion fails, and says at the
/// caller's line how to replay it.
///
/// Environment: ASYNCWAITSET_SEED=N runs that seed alone and prints its trace hash and number of steps (with
/// ASYNCWAITSET_TRACE=1, each step as well); ASYNCWAITSET_SEEDS=N replaces `seeds`.
void forEachSeed(int seeds, const std::function<void()> &body, TestLine line = TestLine::here());

/// The same for first uses: each run begins with nothing made yet of what a program makes once. Requires: nothing of
/// the library is left from before, and the body leaves nothing.
void forEachFirstUse(int seeds, const std::function<void()> &body, TestLine line = TestLine::here());

/// A thread for a scope.
class SimThread {
public:
    SimThread(const char *name, std::function<void()> body);
    /// Joins.
    ~SimThread();
    SimThread(const SimThread &) = delete;
    SimThread &operator=(const SimThread &) = delete;

    /// Wait until the thread has ended; once is enough.
    void join();

    platform::Thread *handle() const { return _thread; }

private:
    std::function<void()> _body;
    platform::Thread *_thread;
};

#endif
