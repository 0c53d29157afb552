/// @file
/// What all asynchronous wait sets of a process share: the workers of the threads, and the key under which a pool
/// thread finds its own record. One instance, made at first use, never destroyed.
///
/// Protection: const after the first call that succeeds; thread-safe.
#ifndef ASYNC_WAIT_SET_GLOBALS_PKG_H
#define ASYNC_WAIT_SET_GLOBALS_PKG_H

#include <stdint.h>

#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"
#include "halo_runtime/vesk/VESKWorker.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

struct DDS_AsyncWaitSetThread;

typedef struct DDS_AsyncWaitSetGlobals {
    DDS_DomainParticipantFactory *_factory;
    struct VESKWorkerPerThread *_workerPerThread;
    void *_tssFactory;             ///< Owner of the key below; the runtime's storage needs none, so null.
    uint32_t _awstTssKey;          ///< Where a pool thread's DDS_AsyncWaitSetThread record is kept.
    int _isAwstTssKeyInitialized;  ///< Whether that key has been created.
} DDS_AsyncWaitSetGlobals;

/// @return the instance, or null when the thread storage is used up; a later call tries again.
/// Blocks while another thread makes it.
DDS_AsyncWaitSetGlobals *DDS_AsyncWaitSetGlobals_get_instance(void);
/// The calling thread's worker. Never fails.
VESKWorker *DDS_AsyncWaitSetGlobals_getWorker(DDS_AsyncWaitSetGlobals *self);
/// The calling pool thread's worker, named. It is the one that getWorker returns, and it ends with the thread.
VESKWorker *DDS_AsyncWaitSetGlobals_createWorker(DDS_AsyncWaitSetGlobals *self, const char *name);
/// The pool thread's second worker, for the surrounding library; null when memory ended.
VESKWorker *DDS_AsyncWaitSetGlobals_createDdsWorker(DDS_AsyncWaitSetGlobals *self, const char *name);
/// Release a worker made by createWorker. Its memory is the thread's own, so there is nothing to free.
void DDS_AsyncWaitSetGlobals_deleteWorkerI(DDS_AsyncWaitSetGlobals *self, VESKWorker *worker);
/// Release a worker made by createDdsWorker.
void DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(DDS_AsyncWaitSetGlobals *self, VESKWorker *worker);
/// Bind the calling thread to its record. @return not 0 on success.
int DDS_AsyncWaitSetGlobals_setThreadSpecific(DDS_AsyncWaitSetGlobals *self, struct DDS_AsyncWaitSetThread *thread);
/// The calling pool thread's record, null on any other thread. One load.
struct DDS_AsyncWaitSetThread *DDS_AsyncWaitSetGlobals_getThreadSpecific(DDS_AsyncWaitSetGlobals *self);

#ifdef __cplusplus
}
#endif

#endif
