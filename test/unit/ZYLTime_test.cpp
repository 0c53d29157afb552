/// @file
/// NTP times and deadlines.
#include <gtest/gtest.h>

#include "halo_runtime/zyl/ZYLTime.pkg.h"

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;

std::int64_t toNs(ZYLNtpTime time)
{
    return ZYLNtpTime_to_ns(&time);
}

}  // namespace

TEST(NtpTime, brings_back_each_number_of_nanoseconds)
{
    for (const std::int64_t nanoseconds : {INT64_C(0), INT64_C(1), second_ns - 1, second_ns, INT64_C(1234567890123)}) {
        ZYLNtpTime time = {};
        ZYLNtpTime_from_ns(&time, nanoseconds);
        EXPECT_EQ(nanoseconds, toNs(time));
    }
}

TEST(NtpTime, from_0x7fffffff_seconds_on_means_no_limit)
{
    EXPECT_EQ(INT64_MAX, toNs({0x7fffffff, 0}));
    EXPECT_EQ(INT64_MAX, toNs({INT64_MAX, 0}));
    EXPECT_EQ(0x7ffffffe * second_ns, toNs({0x7ffffffe, 0}));
    EXPECT_GT(0, toNs({-1, 0}));
    EXPECT_GT(0, toNs({INT64_MIN, 0}));
}

TEST(Deadline, saturates)
{
    EXPECT_EQ(300, ZYLTime_deadline_ns(100, 200));
    EXPECT_EQ(INT64_MAX, ZYLTime_deadline_ns(100, INT64_MAX));
    EXPECT_EQ(INT64_MAX, ZYLTime_deadline_ns(INT64_MAX, INT64_MAX));
    EXPECT_EQ(100, ZYLTime_deadline_ns(100, 0));
}
