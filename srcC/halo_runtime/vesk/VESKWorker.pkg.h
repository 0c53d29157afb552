/// @file
/// Workers and exclusive areas. A worker is a thread as the locks see it; an exclusive area is a re-entrant lock with a
/// level and a name, entered through a worker.
///
/// Order: a worker enters areas in rising level. This is witnessed, not enforced: an area whose level is not above the
/// highest one held (re-entry excepted) is reported at level 4, once per area, and still entered.
#ifndef VESK_WORKER_PKG_H
#define VESK_WORKER_PKG_H

#include <stdint.h>

#include "../platform/Annotations.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Of an activity context only the category mask is read, by the gate of two log messages.
typedef struct ZYLOsapiContext {
    uint32_t category;
} ZYLOsapiContext;

#define VESK_WORKER_NAME_SIZE 36

struct ZYL_CAPABILITY("exclusive area") VESKExclusiveArea;

/// One per thread; lives in the thread's own storage, so that having one cannot fail.
typedef struct VESKWorker {
    int _isInitialized;                        ///< First word: not 0 once the thread has used its worker.
    int _heldCount;                            ///< Areas held, re-entries not counted.
    struct ZYLOsapiContext *_activityContext;  ///< Null, or what the thread is doing, for the log gate.
    struct VESKExclusiveArea *_lastHeld;       ///< The area entered last and still held; head of a chain.
    char _name[VESK_WORKER_NAME_SIZE];
} VESKWorker;

typedef struct VESKWorkerFactory VESKWorkerFactory;

/// The registry of workers, one per thread.
typedef struct VESKWorkerPerThread {
    struct VESKWorkerFactory *_workerFactory ZYL_SHARED;  ///< Handoff. Creates exclusive areas. First field.
    int _ownsFactory;
    uint32_t _workerTssKey;  ///< Key of the worker in the thread's storage.
    void *_tssFactory;
    int _ownsTss ZYL_SHARED;  ///< Handoff.
} VESKWorkerPerThread;

/// A lock. Opaque to its users.
typedef struct VESKExclusiveArea VESKExclusiveArea;

/// Prepare the process-wide registry. Thread-safe; a second call changes nothing.
/// @return not 0 on success.
int VESKWorkerPerThread_initialize(struct VESKWorkerPerThread *self);
/// The calling thread's worker. Never fails once the registry is initialized.
VESKWorker *VESKWorkerPerThread_getWorker(struct VESKWorkerPerThread *self);

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
