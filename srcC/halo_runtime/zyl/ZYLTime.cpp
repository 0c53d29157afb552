/// @file
/// NTP time and deadlines. Pure functions.
#include <cstdint>

#include "ZYLTime.pkg.h"

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
