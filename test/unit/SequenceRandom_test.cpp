/// @file
/// Ten thousand random sequences of operations, on real sequences and on a model of them.
///
/// The seed is printed; ASYNCWAITSET_SEED=<number> in the environment repeats a run exactly.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "SequenceHeapFault.hpp"

namespace {

constexpr int runCount = 10000;
constexpr int bytesPerRun = 240;

/// The seed from the environment, or a new one.
std::uint64_t chooseSeed()
{
    const char *text = std::getenv("ASYNCWAITSET_SEED");
    if (text == nullptr || *text == '\0') return std::random_device{}();
    char *end = nullptr;
    errno = 0;
    const std::uint64_t seed = std::strtoull(text, &end, 10);
    if (*end != '\0' || errno != 0) ADD_FAILURE() << "ASYNCWAITSET_SEED is not a number: " << text;
    return seed;
}

std::vector<std::uint8_t> randomBytes(std::mt19937_64 &random)
{
    std::vector<std::uint8_t> bytes;
    while (bytes.size() < bytesPerRun)
        for (std::uint64_t value = random(), i = 0; i < 8; ++i, value >>= 8)
            bytes.push_back(static_cast<std::uint8_t>(value));
    return bytes;
}

}  // namespace

TEST(SequenceRandom, random_operations_agree_with_the_model)
{
    const std::uint64_t seed = chooseSeed();
    std::printf("seed %llu (repeat with ASYNCWAITSET_SEED=%llu)\n", static_cast<unsigned long long>(seed),
                static_cast<unsigned long long>(seed));
    ::testing::Test::RecordProperty("seed", std::to_string(seed));

    const SequenceHeapFault heap;
    std::mt19937_64 random(seed);
    SequenceOperationCounts counts;
    for (int run = 0; run < runCount; ++run) {
        const std::vector<std::uint8_t> bytes = randomBytes(random);
        const std::string difference = runSequenceOperations(bytes.data(), bytes.size(), true, &counts);
        ASSERT_EQ(difference, "") << "run " << run << " of ASYNCWAITSET_SEED=" << seed;
    }

    // The operations were really tried, in success and in failure.
    const std::set<std::string> neverFail = {"getters", "tokens", "start over", "fill",
                                             "set_element_deallocation_params"};
    EXPECT_EQ(counts.counts.size(), 24U);
    for (const auto &[name, count] : counts.counts) {
        if (name != "null") {
            EXPECT_GT(count.succeeded, 1000) << name;
        }
        if (!neverFail.contains(name)) {
            EXPECT_GT(count.failed, 500) << name;
        }
    }
}

TEST(SequenceRandom, the_same_bytes_do_the_same)
{
    const SequenceHeapFault heap;
    std::mt19937_64 random(4711);
    for (int run = 0; run < 30; ++run) {
        const std::vector<std::uint8_t> bytes = randomBytes(random);
        SequenceOperationCounts first;
        SequenceOperationCounts second;
        EXPECT_EQ(runSequenceOperations(bytes.data(), bytes.size(), true, &first), "");
        EXPECT_EQ(runSequenceOperations(bytes.data(), bytes.size(), true, &second), "");
        ASSERT_EQ(first.counts.size(), second.counts.size());
        for (const auto &[name, count] : first.counts) {
            EXPECT_EQ(count.succeeded, second.counts[name].succeeded) << name;
            EXPECT_EQ(count.failed, second.counts[name].failed) << name;
        }
    }
}

TEST(SequenceRandom, an_empty_input_is_a_run_without_operations)
{
    const SequenceHeapFault heap;
    SequenceOperationCounts counts;
    EXPECT_EQ(runSequenceOperations(nullptr, 0, true, &counts), "");
    EXPECT_TRUE(counts.counts.empty());
}
