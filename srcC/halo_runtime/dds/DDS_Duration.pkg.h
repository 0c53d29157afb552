/// @file
/// Durations: checking them and converting them. Pure functions.
#ifndef DDS_DURATION_PKG_H
#define DDS_DURATION_PKG_H

#include <stdint.h>

#include "dds_c/dds_c_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Not 0 when the duration is infinite.
int DDS_Duration_is_infinite(const struct DDS_Duration_t *self);
/// Not 0 when the duration is infinite, or not negative with `nanosec` below one thousand million.
int DDS_Duration_is_valid_timeout(const struct DDS_Duration_t *self);
/// Convert to NTP time, rounding up, so that no wait is shorter than asked for. Infinite becomes { 0x7fffffff,
/// 0xffffffff }, which every wait treats as no limit. Null arguments are ignored.
void DDS_Duration_to_ntp_time(const struct DDS_Duration_t *self, struct ZYLNtpTime *ntpTimeOut);
/// Nanoseconds of a valid duration; INT64_MAX for the infinite one.
int64_t DDS_Duration_to_ns(const struct DDS_Duration_t *self);

#ifdef __cplusplus
}
#endif

#endif
