/// @file
/// Durations: checking them and converting them. Pure functions, constants.
#include <cstdint>

#include "../zyl/ZYLTime.pkg.h"
#include "DDS_Duration.pkg.h"

const struct DDS_Duration_t DDS_DURATION_INFINITE = {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC};
const struct DDS_Duration_t DDS_DURATION_ZERO = {0, 0};

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;

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
        *ntpTimeOut = {DDS_DURATION_INFINITE_SEC, UINT32_MAX};
        return;
    }
    ZYLNtpTime_from_ns(ntpTimeOut, self->nanosec);
    ntpTimeOut->sec += self->sec;
}

int64_t DDS_Duration_to_ns(const struct DDS_Duration_t *self)
{
    return DDS_Duration_is_infinite(self) != 0 ? INT64_MAX : self->sec * second_ns + self->nanosec;
}
