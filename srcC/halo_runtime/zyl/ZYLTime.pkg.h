/// @file
/// NTP time and deadlines: converting them. Pure functions.
#ifndef ZYL_TIME_PKG_H
#define ZYL_TIME_PKG_H

#include <stdint.h>

#include "dds_c/dds_c_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Nanoseconds of an NTP time; INT64_MAX when `sec` is 0x7fffffff or more.
int64_t ZYLNtpTime_to_ns(const struct ZYLNtpTime *self);
/// The reverse, for a time that is not negative.
void ZYLNtpTime_from_ns(struct ZYLNtpTime *self, int64_t nanoseconds);
/// The moment `duration_ns` from `now_ns`, saturated at INT64_MAX.
int64_t ZYLTime_deadline_ns(int64_t now_ns, int64_t duration_ns);

#ifdef __cplusplus
}
#endif

#endif
