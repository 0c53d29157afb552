/// @file
/// The barrier. Each cycle is a generation: a party sleeps until the generation that it arrived in is over, however far
/// the others have run meanwhile. An abort stays until reset, so that a party that has not arrived yet does not sleep
/// for parties that have gone.
///
/// Protection: its own mutex, held for a few instructions.
#include "../platform/Platform.hpp"
#include "ZYLOsapiBarrier.pkg.h"
#include "ZYLOsapiHeap.pkg.h"

struct ZYLOsapiBarrier {
    platform::Mutex _mutex;
    platform::Condition _isCycleOver;
    std::uint32_t _partyCount;                           ///< Const after creation.
    std::uint32_t _arrivedCount ZYL_GUARDED_BY(_mutex);  ///< In this generation.
    std::uint64_t _generation ZYL_GUARDED_BY(_mutex);    ///< Number of cycles that are over.
    bool _isAborted ZYL_GUARDED_BY(_mutex);
};

ZYLOsapiBarrier *ZYLOsapiBarrier_new(uint32_t count)
{
    if (count == 0) return nullptr;
    auto *self = ZYLOsapiHeap_allocateStructure<ZYLOsapiBarrier>("struct ZYLOsapiBarrier");
    if (self == nullptr) return nullptr;
    ZYLPlatform_initMutex(self->_mutex, "barrier");
    ZYLPlatform_initCondition(self->_isCycleOver, "barrier");
    self->_partyCount = count;
    const platform::Lock lock(self->_mutex);
    self->_arrivedCount = 0;
    self->_generation = 0;
    self->_isAborted = false;
    return self;
}

int ZYLOsapiBarrier_wait(ZYLOsapiBarrier *self)
{
    if (self == nullptr) return ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
    const platform::Lock lock(self->_mutex);
    if (self->_isAborted) return ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
    const std::uint64_t generation = self->_generation;
    if (++self->_arrivedCount == self->_partyCount) {
        self->_arrivedCount = 0;
        ++self->_generation;
        ZYLPlatform_wakeAll(self->_isCycleOver);
        return ZYL_OSAPI_SEMAPHORE_STATUS_OK;
    }
    while (self->_generation == generation && !self->_isAborted)
        ZYLPlatform_waitCondition(self->_isCycleOver, self->_mutex, platform::noDeadline_ns);
    // A cycle that was complete before the abort stays complete for those who wake up late.
    return self->_generation != generation ? ZYL_OSAPI_SEMAPHORE_STATUS_OK : ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
}

void ZYLOsapiBarrier_abort(ZYLOsapiBarrier *self)
{
    if (self == nullptr) return;
    const platform::Lock lock(self->_mutex);
    self->_isAborted = true;
    ZYLPlatform_wakeAll(self->_isCycleOver);
}

void ZYLOsapiBarrier_reset(ZYLOsapiBarrier *self)
{
    if (self == nullptr) return;
    const platform::Lock lock(self->_mutex);
    self->_arrivedCount = 0;
    self->_isAborted = false;
}

void ZYLOsapiBarrier_delete(ZYLOsapiBarrier *self)
{
    if (self == nullptr) return;
    ZYLPlatform_destroyCondition(self->_isCycleOver);
    ZYLPlatform_destroyMutex(self->_mutex);
    ZYLOsapiHeap_freeStructure(self);
}
