/// @file
/// See SimScenario.hpp.
#include "sim/SimScenario.hpp"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "halo_runtime/platform/sim/Simulation.hpp"

namespace {

/// The value of an environment variable that holds a number.
/// Returns: false when it is not set.
bool readNumber(const char *variable, std::uint64_t &numberOut)
{
    const char *text = std::getenv(variable);
    if (text == nullptr || *text == '\0') return false;
    char *end = nullptr;
    numberOut = std::strtoull(text, &end, 10);
    EXPECT_EQ(*end, '\0') << variable << " is not a number: " << text;
    return *end == '\0';
}

/// Returns: whether the body holds under the options' seed.
bool runSeed(sim::Options options, bool isReplay, const std::function<void()> &body, TestLine line)
{
    const std::uint64_t seed = options.seed;
    std::uint64_t isTraced = 0;
    options.isTraced = isReplay && readNumber("ASYNCWAITSET_TRACE", isTraced) && isTraced != 0;
    const sim::Result result = sim::run(options, body);
    if (isReplay) {
        std::printf("seed %" PRIu64 ": trace hash %016" PRIx64 ", %" PRIu64 " steps, %" PRId64 " ns\n", seed,
                    result.traceHash, result.steps, result.virtualTime_ns);
    }
    if (result.failure.empty() && !testing::Test::HasFailure()) return true;
    const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
    ADD_FAILURE_AT(line.file, line.number)
        << "under seed " << seed << " (trace hash " << std::hex << result.traceHash << std::dec << ", " << result.steps
        << " steps): " << (result.failure.empty() ? std::string("an assertion failed") : result.failure)
        << "\nreplay: ./run sim " << test->test_suite_name() << "." << test->name() << " --seed " << seed;
    return false;
}

/// Run the body under seed 0 and then under the others, each time with these options.
void runSeeds(sim::Options options, int seeds, const std::function<void()> &body, TestLine line)
{
    std::uint64_t seed = 0;
    const auto run = [&](std::uint64_t chosen, bool isReplay) {
        options.seed = chosen;
        return runSeed(options, isReplay, body, line);
    };
    const bool isReplay = readNumber("ASYNCWAITSET_SEED", seed);
    std::uint64_t count = static_cast<std::uint64_t>(seeds);
    readNumber("ASYNCWAITSET_SEEDS", count);
    if (testing::Test::HasFailure()) return;
    if (!run(0, isReplay && seed == 0)) return;
    if (isReplay) {
        if (seed != 0) run(seed, true);
        return;
    }
    for (seed = 1; seed <= count && run(seed, false); ++seed) {
    }
}

}  // namespace

void forEachSeed(int seeds, const std::function<void()> &body, TestLine line)
{
    runSeeds({}, seeds, body, line);
}

void forEachFirstUse(int seeds, const std::function<void()> &body, TestLine line)
{
    sim::Options options;
    options.isFirstUse = true;
    runSeeds(options, seeds, body, line);
}

SimThread::SimThread(const char *name, std::function<void()> body) : _body(std::move(body)), _thread(nullptr)
{
    platform::ThreadSettings settings;
    settings.name = name;
    const auto runBody = [](void *argument) -> void * {
        static_cast<SimThread *>(argument)->_body();
        return nullptr;
    };
    _thread = ZYLPlatform_createThread(settings, runBody, this, nullptr);
    EXPECT_NE(_thread, nullptr) << "no thread " << name;
}

SimThread::~SimThread()
{
    join();
}

void SimThread::join()
{
    if (_thread == nullptr) return;
    platform::Thread *thread = _thread;
    _thread = nullptr;
    ZYLPlatform_joinThread(thread);
}
