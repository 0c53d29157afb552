/// @file
/// The boundary to the application's code: whatever does not return from a callback ends the process with one line.
#include <pthread.h>

#include <stdexcept>

#include "AwsFixture.hpp"
#include "Signal.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/platform/Boundary.pkg.hpp"

namespace {

/// A callback of every kind that throws, and the words that it is known by.
struct Throwing {
    const char *name;
    const char *owner;
    void (*run)();
};

[[noreturn]] void complain()
{
    throw std::runtime_error("not today");
}

DDS_AsyncWaitSet *waitSetWith(const DDS_AsyncWaitSetListener *listener, DDS_UnsignedLong poolSize = 1)
{
    const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
    return DDS_AsyncWaitSet_new_with_listener(&property, listener);
}

void throwInHandler()
{
    HandledGuard guard([](HandledGuard &) { complain(); });
    DDS_AsyncWaitSet *const aws = waitSetWith(nullptr, 2);
    DDS_AsyncWaitSet_attach_condition(aws, guard.condition());
    guard.trigger();
    DDS_AsyncWaitSet_start(aws);
    Signal().take();  // for ever
}

void throwInListenerOfStart()
{
    DDS_AsyncWaitSetListener listener = {};
    listener.on_thread_spawned = [](void *, DDS_UnsignedLongLong) { complain(); };
    DDS_AsyncWaitSet_start(waitSetWith(&listener));
}

void throwInListenerOfStop()
{
    DDS_AsyncWaitSetListener listener = {};
    listener.on_thread_deleted = [](void *, DDS_UnsignedLongLong) { complain(); };
    DDS_AsyncWaitSet *const aws = waitSetWith(&listener);
    DDS_AsyncWaitSet_start(aws);
    DDS_AsyncWaitSet_stop(aws);
}

void throwInListenerOfTimeOut()
{
    DDS_AsyncWaitSetListener listener = {};
    listener.on_wait_timeout = [](void *, DDS_UnsignedLongLong) { complain(); };
    DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    property.wait_timeout = DDS_DURATION_ZERO;
    DDS_AsyncWaitSet_start(DDS_AsyncWaitSet_new_with_listener(&property, &listener));
    Signal().take();
}

void throwInInlineAttach()
{
    DDS_AsyncWaitSetListener listener = {};
    listener.on_condition_attached = [](void *, DDS_Condition *) { complain(); };
    HandledGuard guard;
    DDS_AsyncWaitSet_attach_condition(waitSetWith(&listener), guard.condition());
}

void throwInInlineDetach()
{
    DDS_AsyncWaitSetListener listener = {};
    listener.on_condition_detached = [](void *, DDS_Condition *) { complain(); };
    HandledGuard guard;
    DDS_AsyncWaitSet *const aws = waitSetWith(&listener);
    DDS_AsyncWaitSet_attach_condition(aws, guard.condition());
    DDS_AsyncWaitSet_detach_condition(aws, guard.condition());
}

void throwInCompare()
{
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_newI(
        DDS_DomainParticipantFactory_get_instance(), &property, nullptr, nullptr,
        [](const void *, const void *, const void *) -> int { complain(); }, nullptr);
    HandledGuard first;
    HandledGuard second;
    DDS_AsyncWaitSet_attach_condition(aws, first.condition());
    DDS_AsyncWaitSet_attach_condition(aws, second.condition());
}

DDS_AsyncWaitSet *waitSetWith(const DDS_ThreadFactory &factory)
{
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    return DDS_AsyncWaitSet_new_with_thread_factory(&property, nullptr, &factory);
}

using Body = DDS_ThreadFactory_OnSpawnedFunction;

void throwInCreateThread()
{
    DDS_AsyncWaitSet_start(waitSetWith(
        {nullptr, [](void *, const char *, const DDS_ThreadSettings_t *, Body, void *) -> void * { complain(); },
         [](void *, void *) {}}));
}

void throwInDeleteThread()
{
    const auto runHere = [](void *, const char *, const DDS_ThreadSettings_t *, Body, void *) -> void * {
        static int handle;
        return &handle;  // and no thread
    };
    DDS_AsyncWaitSet *const aws = waitSetWith({nullptr, runHere, [](void *, void *) { complain(); }});
    DDS_AsyncWaitSetThread *const thread = &aws->_threadPool[0];
    DDS_AsyncWaitSet_createThread(aws, 0);
    DDS_AsyncWaitSetThread_finalize(thread);
}

void throwInBody()
{
    const DDS_ThreadFactory factory =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    factory.delete_thread(nullptr, factory.create_thread(
                                       nullptr, "thrower", nullptr, [](void *) -> void * { complain(); }, nullptr));
}

class Boundary : public testing::TestWithParam<Throwing> {};
INSTANTIATE_TEST_SUITE_P(Of, Boundary,
                         testing::Values(Throwing{"on_condition_triggered", "condition", throwInHandler},
                                         Throwing{"on_thread_spawned", "wait set", throwInListenerOfStart},
                                         Throwing{"on_thread_deleted", "wait set", throwInListenerOfStop},
                                         Throwing{"on_wait_timeout", "wait set", throwInListenerOfTimeOut},
                                         Throwing{"on_condition_attached", "wait set", throwInInlineAttach},
                                         Throwing{"on_condition_detached", "wait set", throwInInlineDetach},
                                         Throwing{"compare function", "wait set", throwInCompare},
                                         Throwing{"create_thread", "wait set", throwInCreateThread},
                                         Throwing{"delete_thread", "wait set", throwInDeleteThread},
                                         Throwing{"body", "thread", throwInBody}),
                         [](const auto &test) {
                             std::string name = test.param.name;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

class BoundaryDeathTest : public testing::Test {};

}  // namespace

TEST_P(Boundary, an_exception_that_leaves_a_callback_ends_the_process_with_its_words)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string words = std::string("asyncwaitset: ") + GetParam().name + " of " + GetParam().owner +
                              " 0x[0-9a-f]+ was left by an exception: not today\n";
    EXPECT_DEATH(GetParam().run(), words);
}

TEST_F(BoundaryDeathTest, the_line_comes_whatever_the_mask_of_the_log_is)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            DDSLog_g_instrumentationMask = 0;
            throwInInlineAttach();
        },
        "on_condition_attached of wait set 0x[0-9a-f]+ was left by an exception: not today");
}

TEST_F(BoundaryDeathTest, the_end_of_the_thread_inside_a_callback_counts_too)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            HandledGuard guard([](HandledGuard &) { pthread_exit(nullptr); });
            DDS_AsyncWaitSet *const aws = waitSetWith(nullptr, 2);
            DDS_AsyncWaitSet_attach_condition(aws, guard.condition());
            guard.trigger();
            DDS_AsyncWaitSet_start(aws);
            Signal().take();
        },
        "on_condition_triggered of condition 0x[0-9a-f]+ was left by an exception or the thread's end");
}

TEST_F(BoundaryDeathTest, what_is_thrown_need_not_be_an_exception_of_the_standard_library)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(platform::callOut("callback", "test", nullptr, [] { throw 7; }),
                 "callback of test .* was left by an exception or the thread's end");
}

TEST_F(BoundaryDeathTest, a_long_description_is_cut_and_the_line_still_ends)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        platform::callOut("callback", "test", nullptr, [] { throw std::runtime_error(std::string(2000, 'x')); }),
        "callback of test .* was left by an exception: x+\n");
}

TEST(BoundaryOfReturning, what_a_callback_returns_comes_through)
{
    EXPECT_EQ(platform::callOut("callback", "test", nullptr, [] { return 7; }), 7);
}
