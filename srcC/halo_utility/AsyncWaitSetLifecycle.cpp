/// @file
/// Building and tearing down the wait set's record. Tearing down tests every field, so it also unwinds a record that
/// was built partway.
///
/// Protection: nobody else may use the record meanwhile. What finalization stops and detaches takes its own locks.
/// Calls out: finalization joins the pool threads through the thread factory and reports to the listener.
#include <cstring>

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetDispatch.hpp"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetThread.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"
#include "halo_runtime/zyl/ZYLTime.pkg.h"

namespace {

constexpr std::size_t usedPrefixLength = 8;

/// The default order: every new condition goes to the back.
int DDS_AsyncWaitSet_compareHandlerAlwaysRightIsBigger(const void *left, const void *right, const void *userData)
{
    static_cast<void>(left);
    static_cast<void>(right);
    static_cast<void>(userData);
    return 1;
}

template <class Record>
VESKFastBufferPool *newPool(const char *typeName)
{
    const VESKFastBufferPoolProperty property = {{2, -1, -1}, 0, 0, 0, 0};
    return VESKFastBufferPool_newWithParams(static_cast<int>(sizeof(Record)), 8, nullptr, nullptr, nullptr, nullptr,
                                            &property, typeName, 0);
}

const char *prefixOf(const DDS_AsyncWaitSetProperty_t &property)
{
    return property.thread_name_prefix != nullptr ? property.thread_name_prefix : "UNKNOWN";
}

/// `level` + 1; the highest level has no successor and becomes one that no area accepts.
int levelAbove(DDS_Long level)
{
    return level < INT32_MAX ? level + 1 : INT32_MIN;
}

/// Release a partly built record. Returns: 0, the result of a failed initialization.
int unbuild(DDS_AsyncWaitSet *self, int result)
{
    static_cast<void>(DDS_AsyncWaitSet_finalize(self));
    return result;
}

DDS_AWSConditionInfo *firstConditionInfo(const DDS_AsyncWaitSet *self)
{
    AWS_claimRegistryTurn();  // The pool has been stopped.
    return reinterpret_cast<DDS_AWSConditionInfo *>(VESKInlineList_getFirst(&self->_conditionInfoList));
}

DDS_AsyncWaitSetCompletionToken *firstIdleToken(const DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED  // Nobody else is left.
{
    const VESKInlineListNode *const node = VESKInlineList_getFirst(&self->_completionTokenPool);
    if (node == nullptr) return nullptr;
    return static_cast<DDS_AsyncWaitSetCompletionToken *>(
        reinterpret_cast<const VESKInlineListUserDataNode *>(node)->userData);
}

int idleTokenCount(const DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED  // Nobody else is left.
{
    return self->_completionTokenPool._size;
}

/// Destroy the tokens whose deletion failed: trying again and again could go on for ever.
void destroyIdleTokens(DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED  // Nobody else is left.
{
    while (DDS_AsyncWaitSetCompletionToken *const token = firstIdleToken(self)) {
        VESKInlineList_removeNodeEA(&self->_completionTokenPool, &token->_loanedNode.node);
        DDS_SemaphoreAsyncWaitSetCompletionToken_delete(token);
    }
}

/// A start whose wait failed has left its threads running: they have to be stopped like those of any other start.
void reclaimAbandonedPool(DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED  // Nobody else is left.
{
    if (self->_isPoolAbandoned == 0) return;
    self->_isPoolAbandoned = 0;
    handoffWrite(self->_isStarted, 1);
}

/// Join every pool thread and release the records. Threads that a failed start left behind rest at the barrier, which
/// lets them go. Blocks.
void releaseThreadPool(DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED  // Nobody else is left.
{
    if (self->_isPoolFailed != 0) ZYLOsapiBarrier_abort(self->_barrier);
    for (std::size_t i = self->_property.thread_pool_size; i > 0; --i)
        DDS_AsyncWaitSetThread_finalize(&self->_threadPool[i - 1]);
    ZYLOsapiHeap_freeArray(self->_threadPool);
    self->_threadPool = nullptr;
}

/// Return the records of requests whose submission failed; they are in no queue and nobody waits for them.
void returnStrandedRequests(DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED  // Nobody else is left.
{
    while (VESKInlineListNode *const node = VESKInlineList_getFirst(&self->_liveTaskInfoList)) {
        auto *const address = reinterpret_cast<unsigned char *>(node) - offsetof(DDS_AWSTaskInfo, _liveNode);
        DDS_AsyncWaitSet_returnTaskInfo(self, reinterpret_cast<DDS_AWSTaskInfo *>(address));
    }
}

void deletePool(VESKFastBufferPool *&pool)
{
    if (pool != nullptr) VESKFastBufferPool_delete(pool);
    pool = nullptr;
}

void destroyArea(const DDS_AsyncWaitSet *self, VESKExclusiveArea *&area)
{
    if (area != nullptr) VESKWorkerFactory_destroyExclusiveArea(self->_globals->_workerPerThread->_workerFactory, area);
    area = nullptr;
}

}  // namespace

int DDS_AsyncWaitSet_initialize(DDS_AsyncWaitSet *self, DDS_DomainParticipantFactory *factory,
                                DDS_AsyncWaitSetGlobals *globals, const struct DDS_AsyncWaitSetProperty_t *awsProperty,
                                const struct DDS_AsyncWaitSetListener *listener,
                                const struct DDS_ThreadFactory *threadFactory,
                                VESKOrderedDataTypeCompareWithUserDataFunction compareConditionHandler,
                                void *compareUserData) ZYL_NOT_ANALYZED  // Nobody else knows the record yet.
{
    if (self == nullptr) return AWS_NULL(0, self);
    if (factory == nullptr) return AWS_NULL(0, factory);
    if (globals == nullptr) return AWS_NULL(0, globals);
    if (awsProperty == nullptr) return AWS_NULL(0, awsProperty);

    std::memset(static_cast<void *>(self), 0, sizeof *self);
    self->_globals = globals;
    static_cast<void>(DDS_AsyncWaitSetProperty_t_initialize(&self->_property));
    static_cast<void>(DDS_AsyncWaitSetProperty_t_copy(&self->_property, awsProperty));
    if (DDS_Duration_is_valid_timeout(&awsProperty->wait_timeout) == 0)
        return unbuild(self, AWS_FAILED_AS(0, DDS_LOG_BAD_PARAMETER_s, "wait_timeout"));
    self->_compareConditionHandler = compareConditionHandler != nullptr
                                         ? compareConditionHandler
                                         : DDS_AsyncWaitSet_compareHandlerAlwaysRightIsBigger;
    self->_compareUserData = compareUserData;

    self->_taskInfoPool = newPool<DDS_AWSTaskInfo>("struct DDS_AWSTaskInfo");
    if (self->_taskInfoPool == nullptr)
        return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_CREATION_FAILURE_s, "handler info buffer pool"));
    self->_conditionInfoPool = newPool<DDS_AWSConditionInfo>("struct DDS_AWSConditionInfo");
    if (self->_conditionInfoPool == nullptr)
        return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_CREATION_FAILURE_s, "handler info buffer pool"));
    VESKInlineList_init(&self->_conditionInfoList);
    VESKInlineList_init(&self->_completionTokenPool);

    VESKWorkerFactory *const workerFactory = globals->_workerPerThread->_workerFactory;
    const char *const prefix = prefixOf(*awsProperty);
    const int prefixLength = static_cast<int>(std::strlen(prefix));
    char *const criticalSectionName = self->_criticalSectionEaName;
    constexpr std::size_t criticalSectionCapacity = AWS_CRITICAL_SECTION_NAME_SIZE - 1;
    if (ZYLOsapiUtility_strncpy(criticalSectionName, criticalSectionCapacity, prefix, usedPrefixLength) == nullptr)
        return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 9, prefixLength));
    if (ZYLOsapiUtility_strncat(criticalSectionName, criticalSectionCapacity, "_AWS_CRITICAL_SECTION_EA", 24) ==
        nullptr)
        return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_INIT_FAILURE_s, "name of _AWS_CRITICAL_SECTION_EA"));
    self->_criticalSectionEA =
        VESKWorkerFactory_createExclusiveAreaEx(workerFactory, levelAbove(awsProperty->level), criticalSectionName);
    if (self->_criticalSectionEA == nullptr)
        return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_CREATION_FAILURE_s, criticalSectionName));

    self->_sharedWaitSet = DDS_WaitSet_newI(factory, self->_property.waitset_property.max_event_count,
                                            &self->_property.waitset_property.max_event_delay);
    if (self->_sharedWaitSet == nullptr)
        return unbuild(self, AWS_FAILED_AS(0, DDS_LOG_CREATE_FAILURE_s, "shared WaitSet"));
    self->_taskCondition = DDS_CountingCondition_newI(factory);
    if (self->_taskCondition == nullptr)
        return unbuild(self, AWS_FAILED_AS(0, DDS_LOG_CREATE_FAILURE_s, "shared request condition"));
    if (DDS_WaitSet_attach_condition(self->_sharedWaitSet, DDS_CountingCondition_as_condition(self->_taskCondition)) !=
        DDS_RETCODE_OK)
        return unbuild(self, AWS_FAILED(0, "attach internal request condition"));

    const std::size_t poolSize = self->_property.thread_pool_size;
    self->_threadPool = ZYLOsapiHeap_allocateArray<DDS_AsyncWaitSetThread>(poolSize, "struct DDS_AsyncWaitSetThread");
    if (self->_threadPool == nullptr) return unbuild(self, AWS_FAILED_AS(0, DDS_LOG_CREATE_FAILURE_s, "thread pool"));
    std::memset(static_cast<void *>(self->_threadPool), 0, poolSize * sizeof *self->_threadPool);

    self->_threadHandler = {self, DDS_AsyncWaitSet_onWakeUpSingleThread};
    if (AWS_hasFollowers(self)) {
        self->_barrier = ZYLOsapiBarrier_new(self->_property.thread_pool_size);
        if (self->_barrier == nullptr)
            return unbuild(
                self, AWS_FAILED_AS(0, ZYL_LOG_CREATION_FAILURE_s, "internal request synchronization ZYLOsapiBarrier"));
        char *const synchronizerName = self->_threadPoolSynchronizerEaName;
        constexpr std::size_t synchronizerCapacity = AWS_SYNCHRONIZER_NAME_SIZE - 1;
        if (ZYLOsapiUtility_strncpy(synchronizerName, synchronizerCapacity, prefix, usedPrefixLength) == nullptr)
            return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 9, prefixLength));
        if (ZYLOsapiUtility_strncat(synchronizerName, synchronizerCapacity, "_AWS_SYNCHRONIZER_EA", 20) == nullptr)
            return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_INIT_FAILURE_s, "name of _AWS_SYNCHRONIZER_EA"));
        self->_threadPoolSynchronizerEA =
            VESKWorkerFactory_createExclusiveAreaEx(workerFactory, awsProperty->level, synchronizerName);
        if (self->_threadPoolSynchronizerEA == nullptr)
            return unbuild(self, AWS_FAILED_AS(0, ZYL_LOG_CREATION_FAILURE_s, synchronizerName));
        self->_threadHandler = {self, DDS_AsyncWaitSet_onWakeUpThreadPool};
    }

    if (listener != nullptr) self->_listener = *listener;
    self->_threadFactory = threadFactory == nullptr || threadFactory == &DDS_THREAD_FACTORY_USE_DEFAULT
                               ? DDS_DomainParticipantFactory_get_default_thread_factory(factory)
                               : *threadFactory;
    for (std::size_t i = 0; i < poolSize; ++i)
        if (DDS_AsyncWaitSetThread_initialize(&self->_threadPool[i], self) == 0)
            return unbuild(self, AWS_FAILED_AS(0, DDS_LOG_INITIALIZE_FAILURE_s, "DDS_AsyncWaitSetThread"));
    self->_runningState = DDS_RUNNING_AWS_STARTED_STATE;
    return 1;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_finalize(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (handoffRead(self->_loanedCompletionTokenCount) != 0)
        return AWS_FAILED_AS(DDS_RETCODE_PRECONDITION_NOT_MET, ZYL_LOG_DELETE_s,
                             "AsyncWaitSet. There are alive completion tokens created from this object.");

    DDS_ReturnCode_t retCode = DDS_RETCODE_ERROR;
    reclaimAbandonedPool(self);
    if (DDS_AsyncWaitSet_is_started(self) != DDS_BOOLEAN_FALSE) {
        retCode =
            DDS_AsyncWaitSet_stop_with_completion_token(self, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "request stop");
    }
    while (const DDS_AWSConditionInfo *const info = firstConditionInfo(self)) {
        retCode = DDS_AsyncWaitSet_detach_condition(self, info->_condition);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "detach condition");
    }
    for (int left = idleTokenCount(self); left > 0; --left)
        retCode = DDS_AsyncWaitSet_delete_completion_token(self, firstIdleToken(self));
    destroyIdleTokens(self);

    if (self->_threadPool != nullptr) releaseThreadPool(self);
    if (self->_barrier != nullptr) ZYLOsapiBarrier_delete(self->_barrier);
    self->_barrier = nullptr;
    destroyArea(self, self->_threadPoolSynchronizerEA);
    if (self->_sharedWaitSet != nullptr) {
        retCode = DDS_WaitSet_delete(self->_sharedWaitSet);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "delete shared WaitSet");
        self->_sharedWaitSet = nullptr;
    }
    if (self->_taskCondition != nullptr) {
        retCode = DDS_CountingCondition_delete(self->_taskCondition);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "delete shared request condition");
        self->_taskCondition = nullptr;
    }
    static_cast<void>(DDS_AsyncWaitSetProperty_t_finalize(&self->_property));
    if (self->_taskInfoPool != nullptr) returnStrandedRequests(self);
    deletePool(self->_conditionInfoPool);
    deletePool(self->_taskInfoPool);
    destroyArea(self, self->_criticalSectionEA);
    return retCode;
}
