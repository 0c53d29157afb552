/// @file
/// Doubles on the simulated machine, where all threads are one: a call on any of them is noted and can fail.
// Replaces: DDS_GuardCondition_set_trigger_value
#include "doubles/Doubles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "AwsFixture.hpp"
#include "Signal.hpp"
#include "SimScenario.hpp"

namespace {

TEST(SimulatedDoubles, a_call_on_another_simulated_thread_is_noted_and_can_fail)
{
    forEachSeed(20, [] {
        Doubles doubles;
        HandledGuard guard;
        doubles.name(guard.guard(), "G");
        doubles.on("DDS_GuardCondition_set_trigger_value").fail(2, DDS_RETCODE_TIMEOUT);
        std::vector<DDS_ReturnCode_t> results;
        {
            SimThread thread("other", [&] {
                for (int i = 0; i < 3; ++i)
                    results.push_back(DDS_GuardCondition_set_trigger_value(guard.guard(), DDS_BOOLEAN_TRUE));
            });
        }
        EXPECT_THAT(results, testing::ElementsAre(DDS_RETCODE_OK, DDS_RETCODE_TIMEOUT, DDS_RETCODE_OK));
        EXPECT_EQ(doubles.count("DDS_GuardCondition_set_trigger_value(G, 1)"), 3);
    });
}

TEST(SimulatedDoubles, an_action_may_let_other_threads_run)
{
    forEachSeed(50, [] {
        Doubles doubles;
        HandledGuard guard;
        Signal go;
        std::atomic<int> inside{0};
        doubles.on("DDS_GuardCondition_set_trigger_value").before([&](DDS_GuardCondition *, DDS_Boolean) {
            if (++inside == 2) go.give();
            go.take();
            go.give();
        });
        SimThread first("first", [&] { guard.trigger(); });
        SimThread second("second", [&] { guard.trigger(); });
        first.join();
        second.join();
        EXPECT_EQ(inside, 2) << "each waits for the other one inside its action";
    });
}

}  // namespace
