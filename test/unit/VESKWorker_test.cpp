/// @file
/// Workers: one for each thread, from a registry that several threads may initialize.
#include <gtest/gtest.h>

#include <thread>

#include "halo_runtime/vesk/VESKWorker.pkg.h"

namespace {

VESKWorkerPerThread registry = {};

VESKWorker *worker()
{
    EXPECT_NE(0, VESKWorkerPerThread_initialize(&registry));
    return VESKWorkerPerThread_getWorker(&registry);
}

}  // namespace

TEST(Worker, is_the_same_at_each_call_and_another_in_each_thread)
{
    VESKWorker *mine = worker();
    ASSERT_NE(nullptr, mine);
    EXPECT_EQ(mine, worker());
    EXPECT_NE(0, mine->_isInitialized);
    EXPECT_EQ(nullptr, mine->_activityContext);
    EXPECT_EQ(0, mine->_heldCount);
    EXPECT_STRNE("", mine->_name);
    std::thread([mine] {
        EXPECT_NE(mine, worker());
        EXPECT_EQ(0, worker()->_heldCount);
    }).join();
}

TEST(Worker, a_registry_initialized_twice_is_unchanged)
{
    VESKWorkerPerThread own = {};
    ASSERT_NE(0, VESKWorkerPerThread_initialize(&own));
    ASSERT_NE(nullptr, own._workerFactory);
    VESKWorkerFactory *factory = own._workerFactory;
    VESKWorker *mine = VESKWorkerPerThread_getWorker(&own);
    ASSERT_NE(0, VESKWorkerPerThread_initialize(&own));
    EXPECT_EQ(factory, own._workerFactory);
    EXPECT_EQ(mine, VESKWorkerPerThread_getWorker(&own));
    EXPECT_EQ(0, VESKWorkerPerThread_initialize(nullptr));
}

TEST(Worker, several_threads_may_initialize_the_registry)
{
    for (int round = 0; round < 100; ++round) {
        VESKWorkerPerThread own = {};
        const auto body = [&own] {
            EXPECT_NE(0, VESKWorkerPerThread_initialize(&own));
            EXPECT_NE(nullptr, own._workerFactory);
            EXPECT_NE(nullptr, VESKWorkerPerThread_getWorker(&own));
        };
        std::thread first(body);
        std::thread second(body);
        first.join();
        second.join();
    }
}
