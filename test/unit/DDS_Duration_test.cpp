/// @file
/// Durations: which are valid, and what they are as NTP times and as nanoseconds.
#include <gtest/gtest.h>

#include "halo_runtime/dds/DDS_Duration.pkg.h"
#include "halo_runtime/zyl/ZYLTime.pkg.h"

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;

ZYLNtpTime toNtp(DDS_Duration_t duration)
{
    ZYLNtpTime time = {-7, 7};
    DDS_Duration_to_ntp_time(&duration, &time);
    return time;
}
std::int64_t toNs(ZYLNtpTime time)
{
    return ZYLNtpTime_to_ns(&time);
}
bool isValid(DDS_Duration_t duration)
{
    return DDS_Duration_is_valid_timeout(&duration) != 0;
}

}  // namespace

TEST(Duration, constants_have_their_values)
{
    EXPECT_EQ(0x7fffffff, DDS_DURATION_INFINITE.sec);
    EXPECT_EQ(0x7fffffffu, DDS_DURATION_INFINITE.nanosec);
    EXPECT_EQ(0, DDS_DURATION_ZERO.sec);
    EXPECT_EQ(0u, DDS_DURATION_ZERO.nanosec);
}

TEST(Duration, is_infinite_only_with_both_fields)
{
    EXPECT_NE(0, DDS_Duration_is_infinite(&DDS_DURATION_INFINITE));
    for (const DDS_Duration_t finite : {DDS_Duration_t{0x7fffffff, 0}, {0, 0x7fffffff}, {0, 0}})
        EXPECT_EQ(0, DDS_Duration_is_infinite(&finite));
    EXPECT_EQ(0, DDS_Duration_is_infinite(nullptr));
}

TEST(Duration, is_a_valid_timeout_when_infinite_or_not_negative_and_well_formed)
{
    EXPECT_TRUE(isValid(DDS_DURATION_INFINITE));
    EXPECT_TRUE(isValid(DDS_DURATION_ZERO));
    EXPECT_TRUE(isValid({0, 999'999'999}));
    EXPECT_TRUE(isValid({0x7fffffff, 999'999'999}));
    EXPECT_FALSE(isValid({0, 1'000'000'000}));
    EXPECT_FALSE(isValid({5, 0x7fffffff}));
    EXPECT_FALSE(isValid({-1, 0}));
    EXPECT_FALSE(isValid({-1, 0x7fffffff}));
    EXPECT_EQ(0, DDS_Duration_is_valid_timeout(nullptr));
}

TEST(Duration, becomes_ntp_time_rounded_up)
{
    const ZYLNtpTime half = toNtp({3, 500'000'000});
    EXPECT_EQ(3, half.sec);
    EXPECT_EQ(0x80000000u, half.frac);
    EXPECT_EQ(0u, toNtp({3, 0}).frac);
    EXPECT_EQ(5u, toNtp({0, 1}).frac);  // 4.29 units
    const ZYLNtpTime most = toNtp({0, 999'999'999});
    EXPECT_EQ(0, most.sec);
    EXPECT_EQ(0xFFFFFFFCu, most.frac);  // 2^32 - 4.29, rounded up
}

TEST(Duration, that_is_infinite_becomes_the_ntp_time_without_limit)
{
    const ZYLNtpTime time = toNtp(DDS_DURATION_INFINITE);
    EXPECT_EQ(0x7fffffff, time.sec);
    EXPECT_EQ(0xffffffffu, time.frac);
    EXPECT_EQ(INT64_MAX, toNs(time));
    EXPECT_EQ(INT64_MAX, DDS_Duration_to_ns(&DDS_DURATION_INFINITE));
}

TEST(Duration, null_arguments_change_nothing)
{
    ZYLNtpTime time = {-7, 7};
    DDS_Duration_to_ntp_time(nullptr, &time);
    EXPECT_EQ(-7, time.sec);
    EXPECT_EQ(7u, time.frac);
    DDS_Duration_to_ntp_time(&DDS_DURATION_ZERO, nullptr);
}

TEST(Duration, counts_its_nanoseconds)
{
    for (const DDS_Duration_t duration : {DDS_Duration_t{0, 0}, {0, 999'999'999}, {3, 4}, {0x7fffffff, 5}})
        EXPECT_EQ(duration.sec * second_ns + duration.nanosec, DDS_Duration_to_ns(&duration));
}

TEST(NtpTime, brings_back_each_duration_to_the_nanosecond)
{
    for (DDS_UnsignedLong nanosec = 0; nanosec < second_ns; nanosec += 99'991) {
        const DDS_Duration_t duration = {12, nanosec};
        ASSERT_EQ(DDS_Duration_to_ns(&duration), toNs(toNtp(duration)));
    }
    EXPECT_EQ(second_ns - 1, toNs(toNtp({0, 999'999'999})));
}
