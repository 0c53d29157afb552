/// @file
/// A counting semaphore, and the status values that it shares with the barrier. Thread-safe.
#ifndef ZYL_OSAPI_SEMAPHORE_PKG_H
#define ZYL_OSAPI_SEMAPHORE_PKG_H

#include "dds_c/dds_c_common.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZYL_OSAPI_SEMAPHORE_STATUS_ERROR 0x020200F1
#define ZYL_OSAPI_SEMAPHORE_STATUS_TIMEOUT 0x020200F2
#define ZYL_OSAPI_SEMAPHORE_STATUS_OK 0x020200F8

typedef struct ZYLOsapiSemaphore ZYLOsapiSemaphore;

/// @return a semaphore with count 0, or null when memory ended. `name` (for diagnostics) must outlive it.
ZYLOsapiSemaphore *ZYLOsapiSemaphore_new(const char *name);
/// Nobody may be inside take or give.
void ZYLOsapiSemaphore_delete(ZYLOsapiSemaphore *self);
/// Add one and wake a taker.
int ZYLOsapiSemaphore_give(ZYLOsapiSemaphore *self);
/// Take one; `timeout` null or with `sec` 0x7fffffff or more means no limit.
/// Blocks until there is one or the time has passed (ZYL_OSAPI_SEMAPHORE_STATUS_TIMEOUT).
int ZYLOsapiSemaphore_take(ZYLOsapiSemaphore *self, const struct ZYLNtpTime *timeout);
/// Set the count to 0.
int ZYLOsapiSemaphore_drain(ZYLOsapiSemaphore *self);

#ifdef __cplusplus
}
#endif

#endif
