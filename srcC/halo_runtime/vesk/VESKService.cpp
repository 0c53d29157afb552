/// @file
/// Services: see the header. All that have begun and not ended are in one list, so that a thread can be asked about one
/// whose owner may be gone.
///
/// Protection: the factory's service mutex for the list and the numbers; a leaf.
#include "VESKExclusiveArea.hpp"
#include "VESKInlineListView.pkg.hpp"
#include "VESKService.pkg.h"

void VESKService_begin(struct VESKService *self, struct VESKWorkerPerThread *workers, const void *owner, int level)
{
    VESKService_end(self, workers);
    VESKWorkerFactory *const factory = workers->_workerFactory;
    const platform::Lock lock(factory->_serviceMutex);
    self->_owner = owner;
    self->_level = level;
    self->_serial = ++factory->_lastSerial;
    VESKInlineList_addNodeToBackEA(&factory->_services, &self->_node);
}

void VESKService_render(const struct VESKService *self, struct VESKWorkerPerThread *workers)
{
    VESKWorkerPerThread_getWorker(workers)->_servedSerial = self->_serial;
}

void VESKService_end(struct VESKService *self, struct VESKWorkerPerThread *workers)
{
    if (self->_serial == 0) return;
    VESKWorkerFactory *const factory = workers->_workerFactory;
    const platform::Lock lock(factory->_serviceMutex);
    VESKInlineList_removeNodeEA(&factory->_services, &self->_node);
    self->_serial = 0;
}

int VESKService_isOpen(const struct VESKService *self)
{
    return self->_serial != 0 ? 1 : 0;
}

const void *VESKService_getOwnerServed(struct VESKWorkerPerThread *workers, int *levelOut)
{
    const std::uint64_t serial = VESKWorkerPerThread_getWorker(workers)->_servedSerial;
    if (serial == 0) return nullptr;
    VESKWorkerFactory *const factory = workers->_workerFactory;
    const platform::Lock lock(factory->_serviceMutex);
    for (const VESKService *service : VESKInlineListView<VESKService>{factory->_services}) {
        if (service->_serial != serial) continue;
        *levelOut = service->_level;
        return service->_owner;
    }
    return nullptr;
}
