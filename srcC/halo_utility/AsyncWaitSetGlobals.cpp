/// @file
/// The process-wide globals: made once, at first use.
///
/// Protection: one thread makes them while the others wait for it; const afterwards.
#include "AsyncWaitSetGlobals.pkg.h"
#include "halo_runtime/platform/Once.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiTss.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

constinit VESKWorkerPerThread workerPerThread = {};
constinit DDS_AsyncWaitSetGlobals globals = {};
constinit ZYLPlatformOnce globalsOnce = {};

/// Keys are for ever: the one step that makes one for the globals alone is the last, so that repeating all of it after
/// a failure wastes none.
int makeGlobals(void * /*argument*/)
{
    if (VESKWorkerPerThread_initialize(&workerPerThread) == 0) return 0;
    globals._factory = DDS_DomainParticipantFactory_get_instance();
    globals._workerPerThread = &workerPerThread;
    globals._isAwstTssKeyInitialized = ZYLOsapiTss_createKey(&globals._awstTssKey);
    return globals._isAwstTssKeyInitialized;
}

void nameWorker(VESKWorker *worker, const char *name)
{
    static_cast<void>(ZYLOsapiUtility_strncpy(worker->_name, sizeof worker->_name - 1, name, sizeof worker->_name - 1));
}

}  // namespace

DDS_AsyncWaitSetGlobals *DDS_AsyncWaitSetGlobals_get_instance(void)
{
    return ZYLPlatform_makeOnce(&globalsOnce, "globals", makeGlobals, nullptr) != 0 ? &globals : nullptr;
}

VESKWorker *DDS_AsyncWaitSetGlobals_getWorker(DDS_AsyncWaitSetGlobals *self)
{
    return VESKWorkerPerThread_getWorker(self->_workerPerThread);
}

VESKWorker *DDS_AsyncWaitSetGlobals_createWorker(DDS_AsyncWaitSetGlobals *self, const char *name)
{
    VESKWorker *const worker = VESKWorkerPerThread_getWorker(self->_workerPerThread);
    nameWorker(worker, name);
    return worker;
}

VESKWorker *DDS_AsyncWaitSetGlobals_createDdsWorker(DDS_AsyncWaitSetGlobals *self, const char *name)
{
    static_cast<void>(self);
    auto *const worker = ZYLOsapiHeap_allocateStructure<VESKWorker>("VESKWorker");
    if (worker == nullptr) return nullptr;
    *worker = {};
    worker->_isInitialized = 1;
    nameWorker(worker, name);
    return worker;
}

void DDS_AsyncWaitSetGlobals_deleteWorkerI(DDS_AsyncWaitSetGlobals *self, VESKWorker *worker)
{
    static_cast<void>(self);
    static_cast<void>(worker);
}

void DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(DDS_AsyncWaitSetGlobals *self, VESKWorker *worker)
{
    static_cast<void>(self);
    ZYLOsapiHeap_freeStructure(worker);
}

int DDS_AsyncWaitSetGlobals_setThreadSpecific(DDS_AsyncWaitSetGlobals *self, DDS_AsyncWaitSetThread *thread)
{
    ZYLOsapiTss_set(self->_awstTssKey, thread);
    return 1;
}

DDS_AsyncWaitSetThread *DDS_AsyncWaitSetGlobals_getThreadSpecific(DDS_AsyncWaitSetGlobals *self)
{
    return static_cast<DDS_AsyncWaitSetThread *>(ZYLOsapiTss_get(self->_awstTssKey));
}
