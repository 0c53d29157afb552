/// @file
/// Constructors and destructor of the asynchronous wait set.
///
/// Protection: none needed; nobody else knows a wait set that is being created, and none may use one that is deleted.
#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLog.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

DDS_AsyncWaitSet *DDS_AsyncWaitSet_newI(DDS_DomainParticipantFactory *factory,
                                        const struct DDS_AsyncWaitSetProperty_t *awsProperty,
                                        const struct DDS_AsyncWaitSetListener *listener,
                                        const struct DDS_ThreadFactory *threadFactory,
                                        VESKOrderedDataTypeCompareWithUserDataFunction compareHandler,
                                        void *compareUserData)
{
    if (awsProperty == nullptr) return AWS_FAILED_AS(nullptr, DDS_LOG_BAD_PARAMETER_s, "AWS_property");

    auto *const self = ZYLOsapiHeap_allocateStructure<DDS_AsyncWaitSet>("DDS_AsyncWaitSet");
    if (self == nullptr)
        return AWS_FAILED_AS(nullptr, ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
                             static_cast<int>(sizeof(DDS_AsyncWaitSet)));
    if (DDS_AsyncWaitSet_initialize(self, factory, DDS_AsyncWaitSetGlobals_get_instance(), awsProperty, listener,
                                    threadFactory, compareHandler, compareUserData) == 0) {
        ZYLOsapiHeap_freeStructure(self);
        return AWS_FAILED_AS(nullptr, ZYL_LOG_INIT_FAILURE_s, "DDS_AsyncWaitSet");
    }
    return self;
}

DDS_AsyncWaitSet *DDS_AsyncWaitSet_new(const struct DDS_AsyncWaitSetProperty_t *property)
{
    DDS_AsyncWaitSet *const self = DDS_AsyncWaitSet_new_with_listener(property, nullptr);
    if (self == nullptr) return AWS_FAILED_AS(nullptr, ZYL_LOG_CREATION_FAILURE_s, "AsyncWaitSet with NIL listener");
    return self;
}

DDS_AsyncWaitSet *DDS_AsyncWaitSet_new_with_listener(const struct DDS_AsyncWaitSetProperty_t *property,
                                                     const struct DDS_AsyncWaitSetListener *listener)
{
    if (property == nullptr) return AWS_BAD_PARAMETER(nullptr, property);
    return DDS_AsyncWaitSet_newI(DDS_DomainParticipantFactory_get_instance(), property, listener,
                                 &DDS_THREAD_FACTORY_USE_DEFAULT, nullptr, nullptr);
}

DDS_AsyncWaitSet *DDS_AsyncWaitSet_new_with_thread_factory(const struct DDS_AsyncWaitSetProperty_t *property,
                                                           const struct DDS_AsyncWaitSetListener *listener,
                                                           const struct DDS_ThreadFactory *thread_factory)
{
    if (property == nullptr) return AWS_BAD_PARAMETER(nullptr, property);
    if (thread_factory == nullptr) return AWS_BAD_PARAMETER(nullptr, thread_factory);
    const bool isDefault = thread_factory == &DDS_THREAD_FACTORY_USE_DEFAULT;  // whose contents are never read
    if (!isDefault && (thread_factory->create_thread == nullptr || thread_factory->delete_thread == nullptr))
        return AWS_BAD_PARAMETER(nullptr, thread_factory);
    return DDS_AsyncWaitSet_newI(DDS_DomainParticipantFactory_get_instance(), property, listener, thread_factory,
                                 nullptr, nullptr);
}

DDS_ReturnCode_t DDS_AsyncWaitSet_delete(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_finalize(self);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "DDS_AsyncWaitSet_finalize");
    ZYLOsapiHeap_freeStructure(self);
    return DDS_RETCODE_OK;
}
