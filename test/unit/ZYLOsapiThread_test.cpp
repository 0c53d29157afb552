/// @file
/// Thread names, ids and CPU times.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <string>

#include "halo_runtime/platform/Platform.hpp"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

namespace {

std::string threadName(const char *prefix, int index, const char *mark = "AWs")
{
    char name[ZYL_OSAPI_THREAD_NAME_SIZE + 8];
    std::memset(name, 'z', sizeof name);
    ZYLOsapiThread_createThreadName(name, prefix, index, mark);
    EXPECT_EQ('z', name[ZYL_OSAPI_THREAD_NAME_SIZE]) << "written past the buffer";
    return name;
}

}  // namespace

TEST(ThreadName, is_prefix_mark_and_two_digits)
{
    EXPECT_EQ("mTe#####AWs00", threadName("mTe#####", 0));
    EXPECT_EQ("poolAWs07", threadName("pool", 7));
    EXPECT_EQ("poolAWs42", threadName("pool", 42));
    EXPECT_EQ("AWs01", threadName("", 1));
    EXPECT_EQ("AWs01", threadName(nullptr, 1));
    EXPECT_EQ("pool01", threadName("pool", 1, nullptr));
}

TEST(ThreadName, more_digits_cost_characters_of_the_prefix)
{
    EXPECT_EQ("mTe#####AWs12345", threadName("mTe#####", 12345));
    EXPECT_EQ("mTe####AWs123456", threadName("mTe#####", 123456));
    EXPECT_EQ("mTeAWs2147483647", threadName("mTe#####", INT_MAX));
    EXPECT_EQ("prefixpreAWs1234", threadName("prefixprefixprefix", 1234));
}

TEST(ThreadName, a_mark_that_is_too_long_is_cut_before_the_digits)
{
    EXPECT_EQ("abcdefghijklmn05", threadName("pool", 5, "abcdefghijklmnopqrst"));
}

TEST(ThreadCpuInfo, of_a_thread_of_the_platform_has_its_id_and_time)
{
    struct Spinner {
        std::atomic<std::uint64_t> id{0};
        std::atomic<bool> isDone{false};
    } spinner;
    const auto body = [](void *argument) -> void * {
        auto *self = static_cast<Spinner *>(argument);
        self->id = ZYLOsapiThread_getCurrentThreadID();
        while (!self->isDone) ZYLOsapiThread_yield();
        return nullptr;
    };
    platform::Thread *thread = ZYLPlatform_createThread({}, body, &spinner, nullptr);
    ASSERT_NE(nullptr, thread);
    while (spinner.id == 0) ZYLOsapiThread_yield();

    ZYLOsapiThreadCpuInfo info = {};
    do {  // The thread spins, so its time grows.
        ASSERT_NE(0, ZYLOsapiThread_getCpuInfo(thread, &info));
    } while (info.cpuTime.sec == 0 && info.cpuTime.frac == 0);
    EXPECT_EQ(spinner.id, info.id);
    EXPECT_NE(ZYLOsapiThread_getCurrentThreadID(), info.id);
    EXPECT_EQ(0, ZYLOsapiThread_getCpuInfo(thread, nullptr));
    spinner.isDone = true;
    ZYLPlatform_joinThread(thread);
}

TEST(ThreadCpuInfo, of_a_handle_that_is_not_known_writes_nothing)
{
    int foreign = 0;
    ZYLOsapiThreadCpuInfo info = {17, {18, 19}};
    EXPECT_EQ(0, ZYLOsapiThread_getCpuInfo(&foreign, &info));
    EXPECT_EQ(0, ZYLOsapiThread_getCpuInfo(nullptr, &info));
    EXPECT_EQ(17u, info.id);
    EXPECT_EQ(18, info.cpuTime.sec);
    EXPECT_EQ(19u, info.cpuTime.frac);
}

TEST(ThreadId, is_stable)
{
    EXPECT_NE(0u, ZYLOsapiThread_getCurrentThreadID());
    EXPECT_EQ(ZYLOsapiThread_getCurrentThreadID(), ZYLOsapiThread_getCurrentThreadID());
}

TEST(ThreadStorage, is_released_when_the_thread_ends)
{
    EXPECT_NE(0, ZYLOsapiThread_tssDestructorsAreEnabled());
}
