/// @file
/// Exclusive areas: re-entrant locks with a level and a name, entered through a worker.
///
/// Order: a worker enters areas in rising level. This is witnessed, not enforced: an area whose level is not above the
/// highest one held (re-entry excepted) is reported at level 4, once per area, and still entered.
#ifndef VESK_EXCLUSIVE_AREA_PKG_H
#define VESK_EXCLUSIVE_AREA_PKG_H

#include "../platform/Annotations.pkg.h"
#include "VESKWorker.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A lock. Opaque to its users.
struct ZYL_CAPABILITY("exclusive area") VESKExclusiveArea;
typedef struct VESKExclusiveArea VESKExclusiveArea;

/// @return an area, or null when `level` is below -0x7fffffff, a pointer is null, or memory ended. The name is copied.
VESKExclusiveArea *VESKWorkerFactory_createExclusiveAreaEx(VESKWorkerFactory *self, int level, const char *name);
/// Nobody may hold the area or wait for it.
void VESKWorkerFactory_destroyExclusiveArea(VESKWorkerFactory *self, VESKExclusiveArea *area);

/// Enter; re-entrant for the worker that holds it. `previousOut` is always null.
/// Blocks until the worker holds the area. @return not 0 on success, 0 for a null worker or area.
int VESKWorker_enterExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
    ZYL_TRY_ACQUIRE(1, area);
/// Leave; the last matching leave releases the area, waking at most one waiter and none while one is already awake.
/// @return not 0 on success, 0 for a null argument or an area that the worker does not hold.
int VESKWorker_leaveExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area) ZYL_RELEASE(area);
/// How often the worker has entered the area and not left it; 0 when it does not hold it.
int VESKWorker_getExclusiveAreaDepth(const VESKWorker *self, const VESKExclusiveArea *area);

#ifdef __cplusplus
}
#endif

#endif
