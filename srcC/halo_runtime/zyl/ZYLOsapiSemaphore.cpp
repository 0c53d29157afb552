/// @file
/// The counting semaphore: a count under a mutex.
///
/// Protection: its own mutex, held for a few instructions. A give wakes with the mutex held and touches nothing of the
/// semaphore after it released it, so that a taker may delete it as soon as it has taken.
#include "../platform/Platform.hpp"
#include "ZYLOsapiHeap.pkg.h"
#include "ZYLOsapiSemaphore.pkg.h"
#include "ZYLTime.pkg.h"

struct ZYLOsapiSemaphore {
    platform::Mutex _mutex;
    platform::Condition _isGiven;
    unsigned _count ZYL_GUARDED_BY(_mutex);
    unsigned _takerCount ZYL_GUARDED_BY(_mutex);  ///< Threads that sleep in take.
};

ZYLOsapiSemaphore *ZYLOsapiSemaphore_new(const char *name)
{
    auto *self = ZYLOsapiHeap_allocateStructure<ZYLOsapiSemaphore>("struct ZYLOsapiSemaphore");
    if (self == nullptr) return nullptr;
    const char *shownName = name != nullptr ? name : "semaphore";
    ZYLPlatform_initMutex(self->_mutex, shownName);
    ZYLPlatform_initCondition(self->_isGiven, shownName);
    const platform::Lock lock(self->_mutex);
    self->_count = 0;
    self->_takerCount = 0;
    return self;
}

void ZYLOsapiSemaphore_delete(ZYLOsapiSemaphore *self)
{
    if (self == nullptr) return;
    ZYLPlatform_destroyCondition(self->_isGiven);
    ZYLPlatform_destroyMutex(self->_mutex);
    ZYLOsapiHeap_freeStructure(self);
}

int ZYLOsapiSemaphore_give(ZYLOsapiSemaphore *self)
{
    if (self == nullptr) return ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
    const platform::Lock lock(self->_mutex);
    ++self->_count;
    if (self->_takerCount != 0) ZYLPlatform_wakeAll(self->_isGiven);
    return ZYL_OSAPI_SEMAPHORE_STATUS_OK;
}

int ZYLOsapiSemaphore_take(ZYLOsapiSemaphore *self, const struct ZYLNtpTime *timeout)
{
    if (self == nullptr) return ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
    const std::int64_t timeout_ns = timeout != nullptr ? ZYLNtpTime_to_ns(timeout) : INT64_MAX;
    const platform::Lock lock(self->_mutex);
    if (self->_count == 0) {
        const std::int64_t deadline_ns =
            timeout_ns != INT64_MAX ? ZYLTime_deadline_ns(ZYLPlatform_now_ns(), timeout_ns) : platform::noDeadline_ns;
        ++self->_takerCount;
        while (self->_count == 0 && (deadline_ns == platform::noDeadline_ns || ZYLPlatform_now_ns() < deadline_ns))
            ZYLPlatform_waitCondition(self->_isGiven, self->_mutex, deadline_ns);
        --self->_takerCount;
        if (self->_count == 0) return ZYL_OSAPI_SEMAPHORE_STATUS_TIMEOUT;
    }
    --self->_count;
    return ZYL_OSAPI_SEMAPHORE_STATUS_OK;
}

int ZYLOsapiSemaphore_drain(ZYLOsapiSemaphore *self)
{
    if (self == nullptr) return ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
    const platform::Lock lock(self->_mutex);
    self->_count = 0;
    return ZYL_OSAPI_SEMAPHORE_STATUS_OK;
}
