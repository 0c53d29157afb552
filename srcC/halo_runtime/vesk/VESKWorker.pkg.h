/// @file
/// Workers. A worker is a thread as the locks see it: it enters and leaves exclusive areas (VESKExclusiveArea.pkg.h).
#ifndef VESK_WORKER_PKG_H
#define VESK_WORKER_PKG_H

#include <stdint.h>

#include "../platform/Annotations.pkg.h"
#include "../platform/Once.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Of an activity context only the category mask is read, by the gate of two log messages.
typedef struct ZYLOsapiContext {
    uint32_t category;
} ZYLOsapiContext;

#define VESK_WORKER_NAME_SIZE 36

struct VESKExclusiveArea;

/// One per thread; lives in the thread's own storage, so that having one cannot fail.
typedef struct VESKWorker {
    int _isInitialized;                        ///< First word: not 0 once the thread has used its worker.
    int _heldCount;                            ///< Areas held, re-entries not counted.
    struct ZYLOsapiContext *_activityContext;  ///< Null, or what the thread is doing, for the log gate.
    struct VESKExclusiveArea *_lastHeld;       ///< The area entered last and still held; head of a chain.
    char _name[VESK_WORKER_NAME_SIZE];

    uint64_t _servedSerial;  ///< Of the service that the thread rendered last (VESKService.pkg.h); 0: none.
} VESKWorker;

/// Creates exclusive areas.
typedef struct VESKWorkerFactory VESKWorkerFactory;

/// The registry of workers, one per thread. All zero before it is initialized, const afterwards.
typedef struct VESKWorkerPerThread {
    struct VESKWorkerFactory *_workerFactory;  ///< Creates exclusive areas. First field.
    int _ownsFactory;
    uint32_t _workerTssKey;  ///< Key of the worker in the thread's storage.
    void *_tssFactory;
    int _ownsTss;

    struct ZYLPlatformOnce _once;  ///< Whether it is initialized.
} VESKWorkerPerThread;

/// Prepare a registry. Thread-safe; a call after one that succeeded changes nothing.
/// @return not 0 on success; 0 when the storage of a thread is used up.
int VESKWorkerPerThread_initialize(struct VESKWorkerPerThread *self);
/// The calling thread's worker. Never fails once the registry is initialized.
VESKWorker *VESKWorkerPerThread_getWorker(struct VESKWorkerPerThread *self);

#ifdef __cplusplus
}
#endif

#endif
