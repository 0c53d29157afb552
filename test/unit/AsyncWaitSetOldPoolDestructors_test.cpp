/// @file
/// A real thread-local object of C++ whose destructor uses the wait set that its thread has served.
#include <atomic>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "Signal.hpp"

namespace {

std::atomic<DDS_AsyncWaitSet *> served{nullptr};
std::atomic<int> destroyed{0};
Signal *hasReachedItsEnd = nullptr;
Signal *mayGoOn = nullptr;

/// Its destructor waits until the test lets it go on, and then uses the wait set.
struct Lingering {
    bool isUsed = false;
    ~Lingering()
    {
        if (!isUsed) return;
        hasReachedItsEnd->give();
        mayGoOn->take();
        HandledGuard guard;
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(served, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(served, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(served), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(served), DDS_RETCODE_PRECONDITION_NOT_MET);
        ++destroyed;
    }
};
thread_local Lingering lingering;

}  // namespace

TEST(OldPoolDestructors, a_restart_is_not_in_the_way_of_what_a_destructor_does)
{
    Signal reached;
    Signal goOn;
    hasReachedItsEnd = &reached;
    mayGoOn = &goOn;
    destroyed = 0;
    const LogCapture log;
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    served = aws;
    Signal handled;
    HandledGuard guard([&](HandledGuard &) {
        lingering.isUsed = true;
        handled.give();
    });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    guard.trigger();
    handled.take();
    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    reached.take();
    goOn.give();
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    EXPECT_EQ(destroyed, 1) << "the start has waited for it";
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_DELETE_s,
               "AsyncWaitSet. The calling thread is one of its own and has not been joined.");

    lingering.isUsed = false;  // this thread's own
    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
}
