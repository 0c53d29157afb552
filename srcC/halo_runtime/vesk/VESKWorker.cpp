/// @file
/// The registry of workers. A worker lies in its thread's own storage: finding it is one load, and it cannot be
/// missing.
///
/// Protection: thread-safe; a worker belongs to its thread.
#include "../zyl/ZYLOsapiUtility.pkg.h"
#include "../zyl/ZYLShared.pkg.hpp"
#include "VESKExclusiveArea.hpp"
#include "VESKWorker.pkg.h"

namespace {

VESKWorkerFactory *theFactory()
{
    static VESKWorkerFactory *const factory = [] {
        static VESKWorkerFactory made = {};
        ZYLPlatform_initMutex(made._serviceMutex, "services");
        made._workerKey = ZYLPlatform_createThreadKey(sizeof(VESKWorker), nullptr);
        return &made;
    }();
    return factory;
}

}  // namespace

int VESKWorkerPerThread_initialize(struct VESKWorkerPerThread *self)
{
    if (self == nullptr) return 0;
    // The first caller claims the record through `_isBeingInitialized`; the factory's address, written last, publishes
    // it.
    while (handoffRead(self->_workerFactory) == nullptr) {
        if (handoffExchange(self->_isBeingInitialized, 1) != 0) {
            ZYLPlatform_yield();
            continue;
        }
        if (handoffRead(self->_workerFactory) != nullptr) break;
        VESKWorkerFactory *factory = theFactory();
        if (factory->_workerKey == platform::noThreadKey) {
            handoffWrite(self->_isBeingInitialized, 0);
            return 0;
        }
        self->_workerTssKey = factory->_workerKey;
        self->_tssFactory = nullptr;
        self->_ownsFactory = 0;
        self->_ownsTss = 0;
        handoffWrite(self->_workerFactory, factory);
    }
    return 1;
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
