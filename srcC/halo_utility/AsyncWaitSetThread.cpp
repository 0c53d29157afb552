/// @file
/// Pool threads from the outside: their records, their names, their creation.
///
/// Protection: a record belongs to its thread while one runs in it, and to the controlling thread otherwise.
/// Calls out: the thread factory.
#include "AsyncWaitSetThread.hpp"

#include <cstring>

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRun.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/platform/Boundary.pkg.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

int DDS_AsyncWaitSetThread_initialize(DDS_AsyncWaitSetThread *self, DDS_AsyncWaitSet *owner)
{
    if (self == nullptr) return AWS_NULL(0, self);
    if (owner == nullptr) return AWS_NULL(0, owner);
    *self = {};
    self->_owner = owner;
    return 1;
}

void DDS_AsyncWaitSetThread_finalize(DDS_AsyncWaitSetThread *self)
{
    DDS_AsyncWaitSet *const owner = self->_owner;
    if (self->_threadHandle != nullptr) {
        const DDS_ThreadFactory &factory = owner->_threadFactory;
        platform::callOut("delete_thread", "wait set", owner,
                          [&] { factory.delete_thread(factory.factory_data, self->_threadHandle); });
        self->_threadHandle = nullptr;
    }
    // With destructors of thread storage the worker has ended with its thread, and the field is left as it is.
    if (self->_awsWorker != nullptr && ZYLOsapiThread_tssDestructorsAreEnabled() == 0) {
        DDS_AsyncWaitSetGlobals_deleteWorkerI(owner->_globals, self->_awsWorker);
        self->_awsWorker = nullptr;
    }
    if (self->_ddsWorker != nullptr) {
        DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(owner->_globals, self->_ddsWorker);
        self->_ddsWorker = nullptr;
    }
    if (self->_threadName != nullptr) {
        DDS_String_free(self->_threadName);
        self->_threadName = nullptr;
    }
}

int DDS_AsyncWaitSet_create_thread_name(char *threadName, const char *threadNamePrefix, DDS_Long threadIndex)
{
    if (threadName == nullptr) return AWS_NULL(0, threadName);

    constexpr std::size_t prefixLength = 8;
    char truncateThreadNamePrefix[prefixLength + 1] = "mTe#####";
    if (threadNamePrefix != nullptr && threadNamePrefix[0] != '\0') {
        // Deliberate: the note names the buffer's size, the test the number of characters that fit.
        // (AsyncWaitSetThread_test: a_prefix_of_nine_characters_is_noted_and_shortened)
        const std::size_t givenLength = std::strlen(threadNamePrefix);
        if (givenLength > prefixLength)
            ZYL_PRINT(ZYL_LOG_LEVEL_TRACE, AWS_SUBMODULE, ZYL_LOG_ANY_sssd, "Size of threadNamePrefix (",
                      threadNamePrefix, ") bigger than", 9);
        if (ZYLOsapiUtility_strncpy(truncateThreadNamePrefix, prefixLength, threadNamePrefix, prefixLength) == nullptr)
            return AWS_FAILED_AS(0, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 9, static_cast<int>(givenLength));
    }
    ZYLOsapiThread_createThreadName(threadName, truncateThreadNamePrefix, threadIndex, "AWs");
    return 1;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_createThread(DDS_AsyncWaitSet *self, DDS_Long threadIndex)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    DDS_AsyncWaitSetThread *const thread = &self->_threadPool[threadIndex];
    thread->index = threadIndex;
    DDS_AsyncWaitSetThread_finalize(thread);
    thread->_owner = self;
    thread->_lastRequestCount = 0;
    thread->_lockedConditionInfo = nullptr;
    thread->_mustClaimStart = 1;
    thread->_hasFoundWork = 0;
    thread->_threadId = 0;
    VESKService_end(&thread->_service, self->_globals->_workerPerThread);

    // Deliberate: no name, no thread, still OK; only the factory's failure is the caller's.
    // (AsyncWaitSetThread_test: a_failed_name_creates_no_thread_and_reports_ok)
    void *name = nullptr;
    if (ZYLOsapiHeap_reallocateMemoryInternal(&name, ZYL_OSAPI_THREAD_NAME_SIZE, ZYL_OSAPI_HEAP_DEFAULT, 1, 0,
                                              "ZYLOsapiHeap_reallocateString", ZYL_OSAPI_STRING_ALLOC, "char") == 0)
        return AWS_FAILED(DDS_RETCODE_OK, "allocate space for thread name");
    thread->_threadName = static_cast<char *>(name);
    thread->_threadName[0] = '\0';
    if (DDS_AsyncWaitSet_create_thread_name(thread->_threadName, self->_property.thread_name_prefix, threadIndex) == 0)
        return AWS_FAILED_AS(DDS_RETCODE_OK, ZYL_LOG_CREATION_FAILURE_s, "AsyncWaitSet Thread Name");

    VESKService_begin(&thread->_service, self->_globals->_workerPerThread, self, self->_property.level);
    const DDS_ThreadFactory &factory = self->_threadFactory;
    thread->_threadHandle = platform::callOut("create_thread", "wait set", self, [&] {
        return factory.create_thread(factory.factory_data, thread->_threadName, &self->_property.thread_settings,
                                     DDS_AsyncWaitSet_run, thread);
    });
    if (thread->_threadHandle != nullptr) return DDS_RETCODE_OK;
    VESKService_end(&thread->_service, self->_globals->_workerPerThread);
    return AWS_FAILED_AS(DDS_RETCODE_ERROR, ZYL_LOG_CREATION_FAILURE_s, "processing thread");
}
