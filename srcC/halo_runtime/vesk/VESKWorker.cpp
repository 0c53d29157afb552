/// @file
/// The registry of workers. A worker lies in its thread's own storage: finding it is one load, and it cannot be
/// missing.
///
/// Protection: thread-safe; a worker belongs to its thread.
#include "../zyl/ZYLOsapiUtility.pkg.h"
#include "VESKExclusiveArea.hpp"
#include "VESKWorker.pkg.h"

namespace {

/// Const once it is made.
constinit VESKWorkerFactory theFactory = {platform::noThreadKey, {}, {}, 0};
constinit ZYLPlatformOnce factoryOnce = {};

int makeFactory(void * /*argument*/)
{
    theFactory._workerKey = ZYLPlatform_createThreadKey(sizeof(VESKWorker), nullptr);
    if (theFactory._workerKey == platform::noThreadKey) return 0;
    ZYLPlatform_initMutex(theFactory._serviceMutex, "services");
    return 1;
}

int makeRegistry(void *argument)
{
    auto *self = static_cast<VESKWorkerPerThread *>(argument);
    if (ZYLPlatform_makeOnce(&factoryOnce, "worker factory", makeFactory, nullptr) == 0) return 0;
    self->_workerFactory = &theFactory;
    self->_workerTssKey = theFactory._workerKey;
    self->_tssFactory = nullptr;
    self->_ownsFactory = 0;
    self->_ownsTss = 0;
    return 1;
}

}  // namespace

int VESKWorkerPerThread_initialize(struct VESKWorkerPerThread *self)
{
    if (self == nullptr) return 0;
    return ZYLPlatform_makeOnce(&self->_once, "registry of workers", makeRegistry, self);
}

VESKWorker *VESKWorkerPerThread_getWorker(struct VESKWorkerPerThread *self)
{
    auto *worker = static_cast<VESKWorker *>(ZYLPlatform_threadBlock(self->_workerTssKey));
    if (worker->_isInitialized == 0) {
        worker->_isInitialized = 1;
        ZYLOsapiUtility_strncpy(worker->_name, VESK_WORKER_NAME_SIZE - 1, "application thread",
                                VESK_WORKER_NAME_SIZE - 1);
    }
    return worker;
}
