/// @file
/// Durations: checking them and converting them. Pure functions, constants.
#include <cstdint>

#include "ZYLTime.pkg.h"

const struct DDS_Duration_t DDS_DURATION_INFINITE = {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC};
const struct DDS_Duration_t DDS_DURATION_ZERO = {0, 0};

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
constexpr std::int64_t unlimited_sec = 0x7fffffff;

/// Nanoseconds below one second as a binary fraction, rounded up. Rounding up is what makes the way back exact, which
/// rounds down: a unit of the fraction is less than a quarter of a nanosecond.
std::uint32_t fractionOf(std::uint64_t nanoseconds)
{
    return static_cast<std::uint32_t>(((nanoseconds << 32) + second_ns - 1) / second_ns);
}

}  // namespace

int DDS_Duration_is_infinite(const struct DDS_Duration_t *self)
{
    return self != nullptr && self->sec == DDS_DURATION_INFINITE_SEC && self->nanosec == DDS_DURATION_INFINITE_NSEC ? 1
                                                                                                                    : 0;
}

int DDS_Duration_is_valid_timeout(const struct DDS_Duration_t *self)
{
    if (self == nullptr) return 0;
    return DDS_Duration_is_infinite(self) != 0 || (self->sec >= 0 && self->nanosec < second_ns) ? 1 : 0;
}

void DDS_Duration_to_ntp_time(const struct DDS_Duration_t *self, struct ZYLNtpTime *ntpTimeOut)
{
    if (self == nullptr || ntpTimeOut == nullptr) return;
    if (DDS_Duration_is_infinite(self) != 0) {
        *ntpTimeOut = {unlimited_sec, UINT32_MAX};
        return;
    }
    *ntpTimeOut = {self->sec + self->nanosec / second_ns, fractionOf(self->nanosec % second_ns)};
}

int64_t DDS_Duration_to_ns(const struct DDS_Duration_t *self)
{
    return DDS_Duration_is_infinite(self) != 0 ? INT64_MAX : self->sec * second_ns + self->nanosec;
}

int64_t ZYLNtpTime_to_ns(const struct ZYLNtpTime *self)
{
    if (self->sec >= unlimited_sec) return INT64_MAX;
    if (self->sec <= -unlimited_sec) return -unlimited_sec * second_ns;
    const std::uint64_t nanoseconds = (static_cast<std::uint64_t>(self->frac) * second_ns) >> 32;
    return self->sec * second_ns + static_cast<std::int64_t>(nanoseconds);
}

void ZYLNtpTime_from_ns(struct ZYLNtpTime *self, int64_t nanoseconds)
{
    *self = {nanoseconds / second_ns, fractionOf(static_cast<std::uint64_t>(nanoseconds % second_ns))};
}

int64_t ZYLTime_deadline_ns(int64_t now_ns, int64_t duration_ns)
{
    std::int64_t deadline_ns = 0;
    return __builtin_add_overflow(now_ns, duration_ns, &deadline_ns) ? INT64_MAX : deadline_ns;
}
