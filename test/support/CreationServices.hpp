/// @file
/// Replacements of the services that building and tearing down a wait set stand on. Each notes its call and what tells
/// it apart from others, and fails when the test's ServiceCalls say so. A program that includes this replaces, at link
/// time, every service that is defined here; include it in one file only.
///
/// Protection: as for ServiceCalls.
#ifndef CREATION_SERVICES_HPP
#define CREATION_SERVICES_HPP

#include <map>
#include <string>

#include "AwsInternals.hpp"
#include "LogCapture.hpp"
#include "ServiceCalls.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace creation {

/// A block of more bytes than this counts as too large for memory.
constexpr size_t memorySize = size_t{1} << 30;

/// Names of areas and pools by their addresses, for the noted calls.
inline std::map<const void *, std::string> names;

inline std::string nameOf(const void *object)
{
    const auto entry = names.find(object);
    return entry != names.end() ? entry->second : "unknown";
}

/// Note the object's name. Returns: the object.
template <class Object>
Object *named(Object *object, const std::string &name)
{
    if (ServiceCalls::isNoting() && object != nullptr) names[object] = name;
    return object;
}

}  // namespace creation

extern "C" {

int __real_ZYLOsapiHeap_reallocateMemoryInternal(void **block, size_t size, int alignment, int reallocate, int flag,
                                                 const char *routine, ZYLOsapiAllocKind kind, const char *typeName);
int __wrap_ZYLOsapiHeap_reallocateMemoryInternal(void **block, size_t size, int alignment, int reallocate, int flag,
                                                 const char *routine, ZYLOsapiAllocKind kind, const char *typeName)
{
    if (ServiceCalls::fails("heap", typeName) || size > creation::memorySize) return 0;
    const int result =
        __real_ZYLOsapiHeap_reallocateMemoryInternal(block, size, alignment, reallocate, flag, routine, kind, typeName);
    if (result != 0 && kind == ZYL_OSAPI_ARRAY_ALLOC) creation::named(*block, typeName);
    return result;
}

void __real_ZYLOsapiHeap_freeMemoryInternal(void *block, int flag, const char *routine, ZYLOsapiAllocKind kind,
                                            int size);
void __wrap_ZYLOsapiHeap_freeMemoryInternal(void *block, int flag, const char *routine, ZYLOsapiAllocKind kind,
                                            int size)
{
    if (kind == ZYL_OSAPI_ARRAY_ALLOC) ServiceCalls::fails("freeArray", creation::nameOf(block));
    __real_ZYLOsapiHeap_freeMemoryInternal(block, flag, routine, kind, size);
}

VESKFastBufferPool *__real_VESKFastBufferPool_newWithParams(
    int size, int alignment, VESKFastBufferPool_InitializeBufferFunction initialize, void *initializeParameter,
    VESKFastBufferPool_FinalizeBufferFunction finalize, void *finalizeParameter,
    const struct VESKFastBufferPoolProperty *property, const char *typeName, int reserved);
VESKFastBufferPool *__wrap_VESKFastBufferPool_newWithParams(
    int size, int alignment, VESKFastBufferPool_InitializeBufferFunction initialize, void *initializeParameter,
    VESKFastBufferPool_FinalizeBufferFunction finalize, void *finalizeParameter,
    const struct VESKFastBufferPoolProperty *property, const char *typeName, int reserved)
{
    const bool isPlain = initialize == nullptr && initializeParameter == nullptr && finalize == nullptr &&
                         finalizeParameter == nullptr && reserved == 0;
    const VESKFastBufferPoolProperty &p = *property;
    const std::string argument =
        LogCapture::format("%s %d %d %s {%d %d %d} %d %d %d %d", typeName, size, alignment, isPlain ? "plain" : "other",
                           p.growth.initial, p.growth.maximal, p.growth.increment, p.multiThreadedAccess,
                           p.zeroBufferContent, p.ignoreMaximal, p.dynamicAlloc);
    if (ServiceCalls::fails("VESKFastBufferPool_newWithParams", argument)) return nullptr;
    return creation::named(
        __real_VESKFastBufferPool_newWithParams(size, alignment, initialize, initializeParameter, finalize,
                                                finalizeParameter, property, typeName, reserved),
        typeName);
}
void __real_VESKFastBufferPool_delete(VESKFastBufferPool *self);
void __wrap_VESKFastBufferPool_delete(VESKFastBufferPool *self)
{
    ServiceCalls::fails("VESKFastBufferPool_delete", creation::nameOf(self));
    __real_VESKFastBufferPool_delete(self);
}

char *__real_ZYLOsapiUtility_strncpy(char *destination, size_t capacity, const char *source, size_t maximum);
char *__wrap_ZYLOsapiUtility_strncpy(char *destination, size_t capacity, const char *source, size_t maximum)
{
    if (ServiceCalls::fails("ZYLOsapiUtility_strncpy", LogCapture::format("%zu %s %zu", capacity, source, maximum)))
        return nullptr;
    return __real_ZYLOsapiUtility_strncpy(destination, capacity, source, maximum);
}
char *__real_ZYLOsapiUtility_strncat(char *destination, size_t capacity, const char *source, size_t length);
char *__wrap_ZYLOsapiUtility_strncat(char *destination, size_t capacity, const char *source, size_t length)
{
    if (ServiceCalls::fails("ZYLOsapiUtility_strncat", LogCapture::format("%zu %s %zu", capacity, source, length)))
        return nullptr;
    return __real_ZYLOsapiUtility_strncat(destination, capacity, source, length);
}

VESKExclusiveArea *__real_VESKWorkerFactory_createExclusiveAreaEx(VESKWorkerFactory *self, int level, const char *name);
VESKExclusiveArea *__wrap_VESKWorkerFactory_createExclusiveAreaEx(VESKWorkerFactory *self, int level, const char *name)
{
    if (ServiceCalls::fails("VESKWorkerFactory_createExclusiveAreaEx", LogCapture::format("%d %s", level, name)))
        return nullptr;
    return creation::named(__real_VESKWorkerFactory_createExclusiveAreaEx(self, level, name), name);
}
void __real_VESKWorkerFactory_destroyExclusiveArea(VESKWorkerFactory *self, VESKExclusiveArea *area);
void __wrap_VESKWorkerFactory_destroyExclusiveArea(VESKWorkerFactory *self, VESKExclusiveArea *area)
{
    ServiceCalls::fails("VESKWorkerFactory_destroyExclusiveArea", creation::nameOf(area));
    __real_VESKWorkerFactory_destroyExclusiveArea(self, area);
}

DDS_WaitSet *__real_DDS_WaitSet_newI(DDS_DomainParticipantFactory *factory, DDS_Long maxEventCount,
                                     const struct DDS_Duration_t *maxEventDelay);
DDS_WaitSet *__wrap_DDS_WaitSet_newI(DDS_DomainParticipantFactory *factory, DDS_Long maxEventCount,
                                     const struct DDS_Duration_t *maxEventDelay)
{
    if (ServiceCalls::fails("DDS_WaitSet_newI",
                            LogCapture::format("%d %d %u", maxEventCount, maxEventDelay->sec, maxEventDelay->nanosec)))
        return nullptr;
    return __real_DDS_WaitSet_newI(factory, maxEventCount, maxEventDelay);
}
DDS_ReturnCode_t __real_DDS_WaitSet_attach_condition(DDS_WaitSet *self, DDS_Condition *condition);
DDS_ReturnCode_t __wrap_DDS_WaitSet_attach_condition(DDS_WaitSet *self, DDS_Condition *condition)
{
    if (ServiceCalls::fails("DDS_WaitSet_attach_condition")) return DDS_RETCODE_OUT_OF_RESOURCES;
    return __real_DDS_WaitSet_attach_condition(self, condition);
}
DDS_ReturnCode_t __real_DDS_WaitSet_delete(DDS_WaitSet *self);
DDS_ReturnCode_t __wrap_DDS_WaitSet_delete(DDS_WaitSet *self)
{
    return ServiceCalls::fails("DDS_WaitSet_delete") ? DDS_RETCODE_ILLEGAL_OPERATION : __real_DDS_WaitSet_delete(self);
}

DDS_CountingCondition *__real_DDS_CountingCondition_newI(DDS_DomainParticipantFactory *factory);
DDS_CountingCondition *__wrap_DDS_CountingCondition_newI(DDS_DomainParticipantFactory *factory)
{
    if (ServiceCalls::fails("DDS_CountingCondition_newI")) return nullptr;
    return __real_DDS_CountingCondition_newI(factory);
}
DDS_ReturnCode_t __real_DDS_CountingCondition_delete(DDS_CountingCondition *self);
DDS_ReturnCode_t __wrap_DDS_CountingCondition_delete(DDS_CountingCondition *self)
{
    if (ServiceCalls::fails("DDS_CountingCondition_delete")) return DDS_RETCODE_NOT_ENABLED;
    return __real_DDS_CountingCondition_delete(self);
}

ZYLOsapiBarrier *__real_ZYLOsapiBarrier_new(uint32_t count);
ZYLOsapiBarrier *__wrap_ZYLOsapiBarrier_new(uint32_t count)
{
    if (ServiceCalls::fails("ZYLOsapiBarrier_new", std::to_string(count))) return nullptr;
    return __real_ZYLOsapiBarrier_new(count);
}
void __real_ZYLOsapiBarrier_delete(ZYLOsapiBarrier *self);
void __wrap_ZYLOsapiBarrier_delete(ZYLOsapiBarrier *self)
{
    ServiceCalls::fails("ZYLOsapiBarrier_delete");
    __real_ZYLOsapiBarrier_delete(self);
}

int __real_DDS_AsyncWaitSetThread_initialize(struct DDS_AsyncWaitSetThread *self, DDS_AsyncWaitSet *owner);
int __wrap_DDS_AsyncWaitSetThread_initialize(struct DDS_AsyncWaitSetThread *self, DDS_AsyncWaitSet *owner)
{
    if (ServiceCalls::fails("DDS_AsyncWaitSetThread_initialize", std::to_string(self - owner->_threadPool))) return 0;
    return __real_DDS_AsyncWaitSetThread_initialize(self, owner);
}

}  // extern "C"

#endif
