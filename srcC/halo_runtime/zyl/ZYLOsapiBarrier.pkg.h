/// @file
/// A barrier that counts generations, so that a fast party of the next cycle is never taken for a slow one of this.
/// Thread-safe, except delete and reset, which require that nobody is inside.
#ifndef ZYL_OSAPI_BARRIER_PKG_H
#define ZYL_OSAPI_BARRIER_PKG_H

#include <stdint.h>

#include "ZYLOsapiSemaphore.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZYLOsapiBarrier ZYLOsapiBarrier;

/// @return a barrier for `count` parties, or null when `count` is 0 or memory ended.
ZYLOsapiBarrier *ZYLOsapiBarrier_new(uint32_t count);
/// Arrive, and wait until all parties have.
/// Blocks. @return ZYL_OSAPI_SEMAPHORE_STATUS_OK, or ZYL_OSAPI_SEMAPHORE_STATUS_ERROR for null or after an abort.
int ZYLOsapiBarrier_wait(ZYLOsapiBarrier *self);
/// Release everybody who waits with an error, and everybody who arrives later, until reset.
void ZYLOsapiBarrier_abort(ZYLOsapiBarrier *self);
/// End an abort. Every thread that used the barrier must have been joined.
void ZYLOsapiBarrier_reset(ZYLOsapiBarrier *self);
void ZYLOsapiBarrier_delete(ZYLOsapiBarrier *self);

#ifdef __cplusplus
}
#endif

#endif
