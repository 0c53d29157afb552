/// @file
/// First use on the simulated machine: waiting for a maker is visible to the scheduler, and a run can begin with
/// nothing made yet.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "halo_runtime/platform/sim/Simulation.hpp"
#include "sim/SimScenario.hpp"

namespace {

using testing::HasSubstr;

ZYLPlatformOnce forgotten = {};
ZYLPlatformOnce remembered = {};
int madeCount = 0;

int makeForEver(void * /*argument*/)
{
    for (;;) ZYLPlatform_park(platform::noDeadline_ns, "the end of the making");
}

int make(void * /*argument*/)
{
    ++madeCount;
    return 1;
}

sim::Result runWith(bool isFirstUse, const std::function<void()> &body)
{
    sim::Options options;
    options.isFirstUse = isFirstUse;
    return sim::run(options, body);
}

TEST(SimOnce, a_dead_lock_names_what_is_not_made_and_its_maker)
{
    const sim::Result result = runWith(false, [] {
        SimThread maker("maker", [] { ZYLPlatform_makeOnce(&forgotten, "globals", makeForEver, nullptr); });
        ZYLPlatform_yield();
        ZYLPlatform_makeOnce(&forgotten, "globals", makeForEver, nullptr);
    });
    EXPECT_THAT(result.failure, HasSubstr("dead-lock"));
    EXPECT_THAT(result.failure, HasSubstr("waits until \"globals\" is made by thread "));

    // The maker of a failed run never comes back; what it has not made can be made.
    madeCount = 0;
    EXPECT_NE(ZYLPlatform_makeOnce(&forgotten, "globals", make, nullptr), 0);
    EXPECT_EQ(madeCount, 1);
}

TEST(SimOnce, what_asks_for_itself_is_a_dead_lock)
{
    const auto makeItself = [](void *once) -> int {
        return ZYLPlatform_makeOnce(static_cast<ZYLPlatformOnce *>(once), "itself", make, nullptr);
    };
    ZYLPlatformOnce once = {};
    const sim::Result result = runWith(false, [&] { ZYLPlatform_makeOnce(&once, "itself", makeItself, &once); });
    EXPECT_THAT(result.failure, HasSubstr("thread 1 \"body\" waits until \"itself\" is made by thread 1 \"body\""));
    ZYLPlatformOnce other = {};
    EXPECT_DEATH(ZYLPlatform_makeOnce(&other, "itself", makeItself, &other),
                 "waiting for the maker of \"itself\" would block for ever");
}

TEST(SimOnce, what_was_made_stays_made_unless_a_run_begins_with_nothing_made_yet)
{
    madeCount = 0;
    const auto use = [] { EXPECT_NE(ZYLPlatform_makeOnce(&remembered, "remembered", make, nullptr), 0); };
    use();
    EXPECT_EQ(runWith(false, use).failure, "");
    EXPECT_EQ(madeCount, 1);
    for (int turn = 2; turn <= 100; ++turn) {
        EXPECT_EQ(runWith(true,
                          [&] {
                              use();
                              EXPECT_NE(ZYLPlatform_createThreadKey(256, nullptr), platform::noThreadKey);
                          })
                      .failure,
                  "");
        EXPECT_EQ(madeCount, turn);
    }
    use();
    EXPECT_EQ(madeCount, 100);
}

}  // namespace
