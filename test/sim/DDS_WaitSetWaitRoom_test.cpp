// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
/// @file
/// Pool threads whose waits are short of memory for their sequence.
#include "AwsScenario.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

class WaitSetRoomInPool : public testing::TestWithParam<DDS_UnsignedLong> {};
INSTANTIATE_TEST_SUITE_P(PoolOf, WaitSetRoomInPool, testing::Values(1U, 2U));

}  // namespace

TEST_P(WaitSetRoomInPool, a_pool_goes_on_while_there_is_memory_for_what_is_active)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        Signal handled;
        HandledGuard used{[&](HandledGuard &) { handled.give(); }};
        HandledGuard unused[2];
        const ScenarioWaitSet aws(GetParam());
        for (const HandledGuard *guard : {&used, &unused[0], &unused[1]})
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard->condition()), DDS_RETCODE_OK);
        Doubles doubles;
        // There is memory for a sequence of two elements: the doorbell and the one that is triggered here.
        doubles.on("ZYLOsapiHeap_reallocateMemoryInternal")
            .unnoted()
            .with("T")
            .when([](void **, std::size_t size, int, int, int, const char *, ZYLOsapiAllocKind, const char *) {
                return size > 2 * sizeof(DDS_Condition *);
            })
            .failFrom(1);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        for (int i = 0; i < 3; ++i) expectDispatched(used, handled);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_GT(doubles.failedCount(), 0) << "memory was short";
        doubles.heal();
    });
}
