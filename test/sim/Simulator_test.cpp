/// @file
/// The simulated machine itself: it repeats, it varies, it finds what it is there to find, and it says what it found.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "halo_runtime/platform/Platform.hpp"
#include "halo_runtime/platform/sim/Simulation.hpp"
#include "sim/SimScenario.hpp"

namespace {

using testing::HasSubstr;

constexpr std::int64_t second_ns = 1'000'000'000;

sim::Result runWith(std::uint64_t seed, const std::function<void()> &body)
{
    return sim::run({.seed = seed, .maxSteps = 100'000}, body);
}

/// A mutex for a scope of a test, with a name.
struct NamedMutex : platform::Mutex {
    explicit NamedMutex(const char *name) : platform::Mutex() { ZYLPlatform_initMutex(*this, name); }
    ~NamedMutex() { ZYLPlatform_destroyMutex(*this); }
    NamedMutex(const NamedMutex &) = delete;
    NamedMutex &operator=(const NamedMutex &) = delete;
};

struct NamedCondition : platform::Condition {
    explicit NamedCondition(const char *name) : platform::Condition() { ZYLPlatform_initCondition(*this, name); }
    ~NamedCondition() { ZYLPlatform_destroyCondition(*this); }
    NamedCondition(const NamedCondition &) = delete;
    NamedCondition &operator=(const NamedCondition &) = delete;
};

/// Three threads write their letters under a mutex.
std::string writeLetters()
{
    std::string letters;
    NamedMutex mutex("letters");
    const auto write = [&](char letter) {
        const platform::Lock lock(mutex);
        letters += letter;
    };
    SimThread a("a", [&] { write('a'); });
    SimThread b("b", [&] { write('b'); });
    SimThread c("c", [&] { write('c'); });
    a.join();
    b.join();
    c.join();
    return letters;
}

/// Two threads add to a number without a lock, by a load and a store. Returns: the sum.
int addTwice(bool isInterruptible)
{
    std::atomic<int> sum = 0;
    const auto add = [&] {
        if (isInterruptible) platform::schedulingPoint();
        const int seen = sum.load();
        if (isInterruptible) platform::schedulingPoint();
        sum.store(seen + 1);
    };
    SimThread a("a", add);
    SimThread b("b", add);
    a.join();
    b.join();
    return sum;
}

/// The lock operations for misuse, which the analysis of locks would not let pass.
void lockBlindly(platform::Mutex &mutex) ZYL_NOT_ANALYZED
{
    ZYLPlatform_lock(mutex);
}
void unlockBlindly(platform::Mutex &mutex) ZYL_NOT_ANALYZED
{
    ZYLPlatform_unlock(mutex);
}

/// Park until the flag is set.
void parkUntil(const std::atomic<bool> &flag, const char *reason)
{
    while (!flag) ZYLPlatform_park(platform::noDeadline_ns, reason);
}

}  // namespace

TEST(Simulator, the_same_seed_gives_the_same_run)
{
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        std::string firstLetters;
        std::string secondLetters;
        const sim::Result first = runWith(seed, [&] { firstLetters = writeLetters(); });
        const sim::Result second = runWith(seed, [&] { secondLetters = writeLetters(); });
        EXPECT_EQ(first.failure, "");
        EXPECT_EQ(first.traceHash, second.traceHash);
        EXPECT_EQ(first.steps, second.steps);
        EXPECT_EQ(first.virtualTime_ns, second.virtualTime_ns);
        EXPECT_EQ(firstLetters, secondLetters);
    }
}

TEST(Simulator, different_seeds_bring_about_every_order)
{
    std::set<std::string> orders;
    std::set<std::uint64_t> hashes;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        hashes.insert(runWith(seed, [&] { orders.insert(writeLetters()); }).traceHash);
    }
    EXPECT_THAT(orders, testing::ElementsAre("abc", "acb", "bac", "bca", "cab", "cba"));
    EXPECT_GT(hashes.size(), 60U);
}

TEST(Simulator, a_lost_update_is_found)
{
    std::set<int> sums;
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        EXPECT_EQ(runWith(seed, [&] { sums.insert(addTwice(true)); }).failure, "");
    }
    EXPECT_THAT(sums, testing::ElementsAre(1, 2));
}

TEST(Simulator, nothing_is_interrupted_between_two_choices)
{
    std::set<int> sums;
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        EXPECT_EQ(runWith(seed, [&] { sums.insert(addTwice(false)); }).failure, "");
    }
    EXPECT_THAT(sums, testing::ElementsAre(2));
}

TEST(Simulator, a_dead_lock_names_the_mutexes_and_their_holders)
{
    int deadLocks = 0;
    int ends = 0;
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        const sim::Result result = runWith(seed, [] {
            NamedMutex left("left");
            NamedMutex right("right");
            SimThread one("one", [&] {
                const platform::Lock outer(left);
                const platform::Lock inner(right);
            });
            SimThread two("two", [&] {
                const platform::Lock outer(right);
                const platform::Lock inner(left);
            });
            one.join();
            two.join();
        });
        if (result.failure.empty()) {
            ++ends;
            continue;
        }
        ++deadLocks;
        EXPECT_THAT(result.failure, testing::StartsWith("dead-lock after " + std::to_string(result.steps) + " steps"));
        EXPECT_THAT(result.failure, HasSubstr("thread 1 \"body\" waits for the end of thread 2 \"one\""));
        EXPECT_THAT(result.failure, HasSubstr("thread 2 \"one\" waits for mutex \"right\", held by thread 3 \"two\""));
        EXPECT_THAT(result.failure, HasSubstr("thread 3 \"two\" waits for mutex \"left\", held by thread 2 \"one\""));
    }
    EXPECT_GT(deadLocks, 5);
    EXPECT_GT(ends, 5);
}

TEST(Simulator, a_dead_lock_names_conditions_and_reasons_of_parking)
{
    const sim::Result result = runWith(1, [] {
        NamedMutex mutex("mutex of the queue");
        NamedCondition condition("queue is empty");
        const std::atomic<bool> isDone = false;
        SimThread waiter("waiter", [&] {
            const platform::Lock lock(mutex);
            while (!isDone) ZYLPlatform_waitCondition(condition, mutex, platform::noDeadline_ns);
        });
        SimThread parked("parked", [&] { parkUntil(isDone, "the doorbell"); });
    });
    EXPECT_THAT(result.failure, HasSubstr("dead-lock"));
    EXPECT_THAT(result.failure, HasSubstr("thread 1 \"body\" waits for the end of thread 3 \"parked\""));
    EXPECT_THAT(result.failure, HasSubstr("thread 2 \"waiter\" waits for condition \"queue is empty\""));
    EXPECT_THAT(result.failure, HasSubstr("thread 3 \"parked\" is parked: \"the doorbell\""));
}

TEST(Simulator, a_run_after_a_failed_one_is_not_affected)
{
    static NamedMutex mutex("global");
    const sim::Result failed = runWith(3, [] {
        const platform::Lock lock(mutex);
        const std::atomic<bool> isDone = false;
        parkUntil(isDone, "nothing");
    });
    EXPECT_THAT(failed.failure, HasSubstr("is parked: \"nothing\""));
    const sim::Result result = runWith(3, [] {
        const platform::Lock lock(mutex);
        EXPECT_EQ(ZYLPlatform_currentThreadId(), 1U);
    });
    EXPECT_EQ(result.failure, "");
}

TEST(Simulator, joining_a_thread_of_a_failed_run_does_not_wait)
{
    std::unique_ptr<SimThread> thread;
    const sim::Result failed = runWith(3, [&] {
        thread = std::make_unique<SimThread>("parked", [] {
            const std::atomic<bool> isDone = false;
            parkUntil(isDone, "nothing");
        });
    });
    EXPECT_THAT(failed.failure, HasSubstr("thread 2 \"parked\" is parked"));
    thread->join();
    EXPECT_EQ(thread->handle(), nullptr);
}

TEST(Simulator, an_hour_of_time_outs_takes_few_steps)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const sim::Result result = runWith(seed, [] {
            const std::int64_t end_ns = ZYLPlatform_now_ns() + 3600 * second_ns;
            while (ZYLPlatform_now_ns() < end_ns) ZYLPlatform_park(ZYLPlatform_now_ns() + second_ns, "the next second");
        });
        EXPECT_EQ(result.failure, "");
        EXPECT_GE(result.virtualTime_ns, 3600 * second_ns);
        EXPECT_LT(result.virtualTime_ns, 3602 * second_ns);
        EXPECT_LT(result.steps, 20'000U);
    }
}

TEST(Simulator, a_time_out_can_come_although_somebody_could_run)
{
    std::set<bool> isInTime;
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        const sim::Result result = runWith(seed, [&] {
            std::atomic<bool> isDone = false;
            platform::Parker *parker = ZYLPlatform_currentParker();
            SimThread other("other", [&] {
                for (int turn = 0; turn < 20; ++turn) platform::schedulingPoint();
                isDone = true;
                ZYLPlatform_unpark(parker);
            });
            const std::int64_t deadline_ns = ZYLPlatform_now_ns() + second_ns;
            while (!isDone && ZYLPlatform_now_ns() < deadline_ns) ZYLPlatform_park(deadline_ns, "the other");
            isInTime.insert(isDone.load());
        });
        EXPECT_EQ(result.failure, "");
    }
    EXPECT_THAT(isInTime, testing::ElementsAre(false, true));
}

TEST(Simulator, a_park_may_end_for_no_reason)
{
    int early = 0;
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        const sim::Result result = runWith(seed, [&] {
            const std::int64_t deadline_ns = ZYLPlatform_now_ns() + second_ns;
            ZYLPlatform_park(deadline_ns, "time");
            if (ZYLPlatform_now_ns() < deadline_ns) ++early;
        });
        EXPECT_EQ(result.failure, "");
    }
    EXPECT_GT(early, 0);
    EXPECT_LT(early, 100);
}

TEST(Simulator, a_live_lock_is_reported)
{
    const sim::Result result = sim::run({.seed = 1, .maxSteps = 10'000}, [] {
        const std::atomic<bool> isDone = false;
        SimThread spinner("spinner", [&] {
            while (!isDone) ZYLPlatform_pause();
        });
    });
    EXPECT_THAT(result.failure, testing::StartsWith("no end after 10000 steps"));
    EXPECT_THAT(result.failure, HasSubstr("thread 1 \"body\" waits for the end of thread 2 \"spinner\""));
    EXPECT_THAT(result.failure, HasSubstr("thread 2 \"spinner\" can run"));
}

TEST(Simulator, threads_that_spin_let_the_others_run)
{
    std::uint64_t most = 0;
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        const sim::Result result = runWith(seed, [] {
            std::atomic<bool> isDone = false;
            SimThread a("a", [&] {
                while (!isDone) ZYLPlatform_yield();
            });
            SimThread b("b", [&] {
                while (!isDone) ZYLPlatform_pause();
            });
            SimThread worker("worker", [&] {
                for (int turn = 0; turn < 50; ++turn) platform::schedulingPoint();
                isDone = true;
            });
        });
        EXPECT_EQ(result.failure, "");
        most = std::max(most, result.steps);
    }
    EXPECT_LT(most, 2'000U);
}

TEST(Simulator, a_spinner_does_not_wait_long_for_a_deadline_of_somebody_else)
{
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        const sim::Result result = runWith(seed, [] {
            std::atomic<bool> isDone = false;
            SimThread sleeper("sleeper", [&] {
                const std::int64_t deadline_ns = ZYLPlatform_now_ns() + 3600 * second_ns;
                while (ZYLPlatform_now_ns() < deadline_ns) ZYLPlatform_park(deadline_ns, "an hour");
                isDone = true;
            });
            while (!isDone) ZYLPlatform_yield();
        });
        EXPECT_EQ(result.failure, "");
        EXPECT_LT(result.steps, 1'000U);
    }
}

TEST(Simulator, misuse_of_a_mutex_is_a_failure)
{
    const sim::Result foreign = runWith(1, [] {
        NamedMutex mutex("mine");
        lockBlindly(mutex);
        SimThread thief("thief", [&] { unlockBlindly(mutex); });
        thief.join();
        unlockBlindly(mutex);
    });
    EXPECT_THAT(foreign.failure, HasSubstr("mutex \"mine\" is unlocked by a thread that does not hold it"));

    const sim::Result destroyed = runWith(1, [] {
        NamedMutex mutex("gone");
        lockBlindly(mutex);
    });
    EXPECT_THAT(destroyed.failure, HasSubstr("mutex \"gone\" is destroyed while it is held"));

    static NamedMutex forgotten("forgotten");
    const sim::Result ended = runWith(1, [] { lockBlindly(forgotten); });
    EXPECT_THAT(ended.failure, HasSubstr("a thread ended that holds a mutex"));

    const sim::Result twice = runWith(1, [] {
        NamedMutex mutex("twice");
        lockBlindly(mutex);
        lockBlindly(mutex);
    });
    EXPECT_THAT(twice.failure, HasSubstr("thread 1 \"body\" waits for mutex \"twice\", held by thread 1 \"body\""));
}

TEST(Simulator, thousands_of_threads_can_follow_each_other)
{
    const sim::Result result = sim::run({.seed = 5}, [] {
        for (int turn = 0; turn < 3000; ++turn) SimThread thread("short", [] {});
        EXPECT_EQ(ZYLPlatform_currentThreadId(), 1U);
    });
    EXPECT_EQ(result.failure, "");
}

TEST(Simulator, outside_of_a_run_there_is_one_thread_that_never_blocks)
{
    EXPECT_FALSE(sim::isRunning());
    NamedMutex mutex("lonely");
    NamedCondition condition("never");
    const std::int64_t before_ns = ZYLPlatform_now_ns();
    {
        const platform::Lock lock(mutex);
        ZYLPlatform_waitCondition(condition, mutex, before_ns + second_ns);
    }
    ZYLPlatform_park(before_ns + 2 * second_ns, "nothing");
    EXPECT_GE(ZYLPlatform_now_ns(), before_ns + 2 * second_ns);
    ZYLPlatform_unpark(ZYLPlatform_currentParker());
    ZYLPlatform_park(platform::noDeadline_ns, "nothing");
    ZYLPlatform_yield();
    ZYLPlatform_pause();
    platform::schedulingPoint();
    ZYLPlatform_wakeAll(condition);
    EXPECT_EQ(ZYLPlatform_currentThreadId(), 1U);
    EXPECT_EQ(ZYLPlatform_createThread({}, nullptr, nullptr, nullptr), nullptr);
}

TEST(SimulatorDeathTest, outside_of_a_run_blocking_for_ever_ends_the_program)
{
    NamedMutex mutex("lonely");
    EXPECT_DEATH(
        {
            lockBlindly(mutex);
            lockBlindly(mutex);
        },
        "locking mutex \"lonely\" would block for ever");
    EXPECT_DEATH(ZYLPlatform_park(platform::noDeadline_ns, "nothing"), "parking, reason \"nothing\" would block");
}

TEST(SimScenario, a_failing_seed_is_reported_with_its_replay)
{
    int runs = 0;
    const auto fail = [&runs] {
        ++runs;
        const std::atomic<bool> isDone = false;
        parkUntil(isDone, "nothing");
    };
    EXPECT_NONFATAL_FAILURE(forEachSeed(10, fail),
                            "replay: ./run sim SimScenario.a_failing_seed_is_reported_with_its_replay --seed 0");
    EXPECT_EQ(runs, 1) << "stops at the first";
}

TEST(SimScenario, a_failing_seed_is_reported_at_the_line_that_runs_the_seeds)
{
    testing::TestPartResultArray failures;
    const int line = __LINE__ + 3;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(&failures);
        forEachSeed(10, [] { sim::fail("on purpose"); });
    }
    ASSERT_EQ(failures.size(), 1);
    EXPECT_EQ(failures.GetTestPartResult(0).line_number(), line);
    EXPECT_STREQ(failures.GetTestPartResult(0).file_name(), __FILE__);
}

TEST(SimScenario, the_environment_chooses_seeds)
{
    const char *chosen = std::getenv("ASYNCWAITSET_SEED");
    const std::string saved = chosen != nullptr ? chosen : "";
    int runs = 0;
    unsetenv("ASYNCWAITSET_SEED");
    unsetenv("ASYNCWAITSET_SEEDS");
    forEachSeed(3, [&runs] { ++runs; });
    EXPECT_EQ(runs, 1 + 3);
    setenv("ASYNCWAITSET_SEEDS", "5", 1);
    forEachSeed(3, [&runs] { ++runs; });
    EXPECT_EQ(runs, 4 + 1 + 5);
    setenv("ASYNCWAITSET_SEED", "77", 1);
    testing::internal::CaptureStdout();
    forEachSeed(3, [&runs] { ++runs; });
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith("seed 77: trace hash "));
    EXPECT_EQ(runs, 10 + 2);
    unsetenv("ASYNCWAITSET_SEED");
    unsetenv("ASYNCWAITSET_SEEDS");
    if (chosen != nullptr) setenv("ASYNCWAITSET_SEED", saved.c_str(), 1);
}
