/// @file
/// Services: which thread serves whom, from the creation of the thread until whoever joined it has noted that. A thread
/// that has left its pool may still run its thread-local destructors; it must not wait then for its own end.
///
/// A thread is known by a serial number that is never used again: ids and addresses are. Its worker keeps the number of
/// the service that it rendered last, also while the thread's destructors run.
///
/// Protection: thread-safe.
#ifndef VESK_SERVICE_PKG_H
#define VESK_SERVICE_PKG_H

#include <stdint.h>

#include "VESKInlineList.pkg.h"
#include "VESKWorker.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A place for one thread. All zero: nobody serves in it.
typedef struct VESKService {
    struct VESKInlineListNode _node;  ///< Link in the factory's list of services: its mutex.
    uint64_t _serial;                 ///< 0: none. Changed by begin and end only; their callers keep others away.
    const void *_owner;               ///< Who is served; const during the service.
    int _level;                       ///< Its level; const during the service.
} VESKService;

/// A service begins: before its thread is created.
void VESKService_begin(struct VESKService *self, struct VESKWorkerPerThread *workers, const void *owner, int level);
/// The calling thread renders the service: it is known by it from here on.
void VESKService_render(const struct VESKService *self, struct VESKWorkerPerThread *workers);
/// The thread has been joined. Nothing when no service has begun.
void VESKService_end(struct VESKService *self, struct VESKWorkerPerThread *workers);
/// @return not 0 while a service has begun and not ended.
int VESKService_isOpen(const struct VESKService *self);

/// Whether the service that the calling thread rendered last has not ended.
/// @return its owner, whose level is written; or null.
const void *VESKService_getOwnerServed(struct VESKWorkerPerThread *workers, int *levelOut);

#ifdef __cplusplus
}
#endif

#endif
