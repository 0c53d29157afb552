/// @file
/// Building and tearing down the wait set's record. It is built by steps; tearing down tests every field, so it also
/// unwinds a record that was built partway.
///
/// Protection: nobody else may use the record meanwhile. What finalization stops and detaches takes its own locks.
/// Calls out: finalization joins the pool threads through the thread factory and reports to the listener.
#include <cstring>

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetDispatch.hpp"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRegistry.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "AsyncWaitSetThread.hpp"
#include "halo_runtime/dds/DDS_Duration.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

// ---------------------------------------------------------------- building

/// What a wait set is built from.
struct Blueprint {
    DDS_DomainParticipantFactory *factory;
    const DDS_AsyncWaitSetProperty_t &property;  ///< The caller's; the record has its own copy.
    const DDS_AsyncWaitSetListener *listener;    ///< May be null.
    const DDS_ThreadFactory *threadFactory;      ///< May be null.
    VESKOrderedDataTypeCompareWithUserDataFunction compareHandler;
    void *compareUserData;
};

/// The default order: every new condition goes to the back.
int DDS_AsyncWaitSet_compareHandlerAlwaysRightIsBigger(const void *left, const void *right, const void *userData)
{
    static_cast<void>(left);
    static_cast<void>(right);
    static_cast<void>(userData);
    return 1;
}

AWSStep copyProperty(DDS_AsyncWaitSet *self, const Blueprint &blueprint)
{
    static_cast<void>(DDS_AsyncWaitSetProperty_t_initialize(&self->_property));
    static_cast<void>(DDS_AsyncWaitSetProperty_t_copy(&self->_property, &blueprint.property));
    if (DDS_Duration_is_valid_timeout(&blueprint.property.wait_timeout) == 0)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_BAD_PARAMETER, DDS_LOG_BAD_PARAMETER_s, "wait_timeout");
    self->_compareConditionHandler = blueprint.compareHandler != nullptr
                                         ? blueprint.compareHandler
                                         : DDS_AsyncWaitSet_compareHandlerAlwaysRightIsBigger;
    self->_compareUserData = blueprint.compareUserData;
    return {};
}

template <class Record>
VESKFastBufferPool *newPool(const char *typeName)
{
    const VESKFastBufferPoolProperty property = {{2, -1, -1}, 0, 0, 0, 0};
    return VESKFastBufferPool_newWithParams(static_cast<int>(sizeof(Record)), 8, nullptr, nullptr, nullptr, nullptr,
                                            &property, typeName, 0);
}

AWSStep buildPoolsAndLists(DDS_AsyncWaitSet *self, const Blueprint & /*blueprint*/)
{
    AWS_claimAlone(self);
    self->_taskInfoPool = newPool<DDS_AWSTaskInfo>("struct DDS_AWSTaskInfo");
    if (self->_taskInfoPool != nullptr)
        self->_conditionInfoPool = newPool<DDS_AWSConditionInfo>("struct DDS_AWSConditionInfo");
    if (self->_conditionInfoPool == nullptr)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, ZYL_LOG_CREATION_FAILURE_s, "handler info buffer pool");
    VESKInlineList_init(&self->_conditionInfoList);
    VESKInlineList_init(&self->_completionTokenPool);
    return {};
}

/// Name an area, `size` bytes with the terminator, and create it. Of the prefix only the first characters count.
AWSStep buildArea(DDS_AsyncWaitSet *self, const Blueprint &blueprint, char *name, std::size_t size, const char *suffix,
                  const char *nameOfName, int level, VESKExclusiveArea **areaOut)
{
    constexpr std::size_t usedPrefixLength = 8;
    const char *const ownPrefix = blueprint.property.thread_name_prefix;
    const char *const prefix = ownPrefix != nullptr ? ownPrefix : "UNKNOWN";
    if (ZYLOsapiUtility_strncpy(name, size - 1, prefix, usedPrefixLength) == nullptr)
        return AWS_STEP_NO_SPACE(usedPrefixLength + 1, std::strlen(prefix));
    if (ZYLOsapiUtility_strncat(name, size - 1, suffix, std::strlen(suffix)) == nullptr)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, ZYL_LOG_INIT_FAILURE_s, nameOfName);
    VESKWorkerFactory *const workerFactory = self->_globals->_workerPerThread->_workerFactory;
    *areaOut = VESKWorkerFactory_createExclusiveAreaEx(workerFactory, level, name);
    if (*areaOut == nullptr) return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, ZYL_LOG_CREATION_FAILURE_s, name);
    return {};
}

/// `level` + 1; the highest level has no successor and becomes one that no area accepts.
int levelAbove(DDS_Long level)
{
    return level < INT32_MAX ? level + 1 : INT32_MIN;
}

AWSStep buildCriticalSection(DDS_AsyncWaitSet *self, const Blueprint &blueprint)
{
    return buildArea(self, blueprint, self->_criticalSectionEaName, sizeof self->_criticalSectionEaName,
                     "_AWS_CRITICAL_SECTION_EA", "name of _AWS_CRITICAL_SECTION_EA",
                     levelAbove(blueprint.property.level), &self->_criticalSectionEA);
}

AWSStep buildWaitSet(DDS_AsyncWaitSet *self, const Blueprint &blueprint)
{
    self->_sharedWaitSet = DDS_WaitSet_newI(blueprint.factory, self->_property.waitset_property.max_event_count,
                                            &self->_property.waitset_property.max_event_delay);
    if (self->_sharedWaitSet == nullptr)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, DDS_LOG_CREATE_FAILURE_s, "shared WaitSet");
    self->_taskCondition = DDS_CountingCondition_newI(blueprint.factory);
    if (self->_taskCondition == nullptr)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, DDS_LOG_CREATE_FAILURE_s, "shared request condition");
    const DDS_ReturnCode_t retCode =
        DDS_WaitSet_attach_condition(self->_sharedWaitSet, DDS_CountingCondition_as_condition(self->_taskCondition));
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "attach internal request condition");
    return {};
}

AWSStep buildThreadRecords(DDS_AsyncWaitSet *self, const Blueprint & /*blueprint*/)
{
    const std::size_t poolSize = self->_property.thread_pool_size;
    self->_threadPool = ZYLOsapiHeap_allocateArray<DDS_AsyncWaitSetThread>(poolSize, "struct DDS_AsyncWaitSetThread");
    if (self->_threadPool == nullptr)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, DDS_LOG_CREATE_FAILURE_s, "thread pool");
    std::memset(static_cast<void *>(self->_threadPool), 0, poolSize * sizeof *self->_threadPool);
    return {};
}

/// What several threads need to share the work, and the handler that goes with it; one thread needs neither.
AWSStep buildPoolSynchronization(DDS_AsyncWaitSet *self, const Blueprint &blueprint)
{
    self->_threadHandler = {self, DDS_AsyncWaitSet_onWakeUpSingleThread};
    if (!AWS_hasFollowers(self)) return {};
    self->_barrier = ZYLOsapiBarrier_new(self->_property.thread_pool_size);
    if (self->_barrier == nullptr)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, ZYL_LOG_CREATION_FAILURE_s,
                                  "internal request synchronization ZYLOsapiBarrier");
    const AWSStep step =
        buildArea(self, blueprint, self->_threadPoolSynchronizerEaName, sizeof self->_threadPoolSynchronizerEaName,
                  "_AWS_SYNCHRONIZER_EA", "name of _AWS_SYNCHRONIZER_EA", blueprint.property.level,
                  &self->_threadPoolSynchronizerEA);
    if (!step.hasFailed()) self->_threadHandler = {self, DDS_AsyncWaitSet_onWakeUpThreadPool};
    return step;
}

AWSStep initializeThreads(DDS_AsyncWaitSet *self, const Blueprint &blueprint)
{
    if (blueprint.listener != nullptr) self->_listener = *blueprint.listener;
    const DDS_ThreadFactory *const factory = blueprint.threadFactory;
    self->_threadFactory = factory == nullptr || factory == &DDS_THREAD_FACTORY_USE_DEFAULT
                               ? DDS_DomainParticipantFactory_get_default_thread_factory(blueprint.factory)
                               : *factory;
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        if (DDS_AsyncWaitSetThread_initialize(&self->_threadPool[i], self) == 0)
            return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, DDS_LOG_INITIALIZE_FAILURE_s, "DDS_AsyncWaitSetThread");
    return {};
}

/// In this order: each step may use what those before it have built.
constexpr AWSStep (*buildSteps[])(DDS_AsyncWaitSet *, const Blueprint &) = {
    copyProperty,       buildPoolsAndLists,       buildCriticalSection, buildWaitSet,
    buildThreadRecords, buildPoolSynchronization, initializeThreads};

// ---------------------------------------------------------------- tearing down

/// How a wait set stands when it is to be deleted.
struct Standing {
    int lentTokenCount;
    bool isStarted;
};

/// Whether a deletion may wait for the end of the pool: not on a thread of its own, not with the critical section in
/// hand, and not for threads that rest at the barrier of a failed start.
bool mayAwaitPool(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return !AWS_isOwnThread(self) && !AWS_isDeadLockRisk(self, AWS_currentThread(self)) &&
           !AWS_hasCriticalSectionTwice(self) && self->_isPoolFailed == 0;
}

/// Count the tokens that are out. Those of short forms whose wait was refused come home with their requests, so that a
/// pool that is just ending is waited for. Blocks.
AWSStep takeStock(DDS_AsyncWaitSet *self, Standing &standing)
{
    standing = {};
    if (self->_criticalSectionEA == nullptr) return {};  // built partway: nobody has used it
    if (!AWS_enterCriticalSection(self)) return AWS_STEP_AREA_FAILED("enter");
    while (mayAwaitPool(self) && handoffRead(self->_isStarted) == 0 && AWS_firstRequest(self) != nullptr) {
        const AWSStep step = AWS_awaitQueueChange(self);
        if (!step.hasFailed()) continue;
        AWS_countAsOutside(self);
        return step;
    }
    standing = {handoffRead(self->_loanedCompletionTokenCount), handoffRead(self->_isStarted) != 0};
    if (!AWS_leaveCriticalSection(self)) return AWS_STEP_AREA_FAILED("leave");
    return {};
}

/// Refuse a deletion while tokens are out.
AWSStep refuseWithTokensOut(DDS_AsyncWaitSet *self, Standing &standing)
{
    const AWSStep step = takeStock(self, standing);
    if (step.hasFailed() || standing.lentTokenCount == 0) return step;
    return AWS_STEP_FAILED_AS(DDS_RETCODE_PRECONDITION_NOT_MET, ZYL_LOG_DELETE_s,
                              "AsyncWaitSet. There are alive completion tokens created from this object.");
}

/// Refuse a deletion by a thread that would have to be joined for it: one that has left the pool, or one of a pool that
/// is not started. (One of a started pool is refused the wait for its stop.)
AWSStep refuseOnOwnThread(const DDS_AsyncWaitSet *self, bool isStarted)
{
    if (!AWS_isOwnThread(self) || (AWS_currentThread(self) != nullptr && isStarted)) return {};
    return AWS_STEP_FAILED_AS(DDS_RETCODE_PRECONDITION_NOT_MET, ZYL_LOG_DELETE_s,
                              "AsyncWaitSet. The calling thread is one of its own and has not been joined.");
}

DDS_AWSConditionInfo *firstConditionInfo(const DDS_AsyncWaitSet *self)
{
    AWS_claimAlone(self);
    return AWS_registered(self).first();
}

/// Detach what is attached, one condition after the other, as the application would.
AWSStep detachAll(DDS_AsyncWaitSet *self, DDS_ReturnCode_t &retCode)
{
    while (const DDS_AWSConditionInfo *const info = firstConditionInfo(self)) {
        retCode = DDS_AsyncWaitSet_detach_condition(self, info->_condition);
        if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "detach condition");
    }
    return {};
}

/// Delete every idle token, and destroy those whose deletion failed: trying again and again could go on for ever.
void deleteIdleTokens(DDS_AsyncWaitSet *self, DDS_ReturnCode_t &retCode)
{
    AWS_claimAlone(self);
    for (int left = self->_completionTokenPool._size; left > 0; --left)
        retCode = DDS_AsyncWaitSet_delete_completion_token(self, AWS_idleTokens(self).first());
    while (DDS_AsyncWaitSetCompletionToken *const token = AWS_idleTokens(self).first()) {
        VESKInlineList_removeNodeEA(&self->_completionTokenPool, &token->_loanedNode.node);
        DDS_SemaphoreAsyncWaitSetCompletionToken_delete(token);
    }
}

/// A start whose wait failed has left its threads running: they have to be stopped like those of any other start.
void reclaimAbandonedPool(DDS_AsyncWaitSet *self)
{
    AWS_claimAlone(self);
    if (self->_isPoolAbandoned == 0) return;
    self->_isPoolAbandoned = 0;
    handoffWrite(self->_isStarted, 1);
}

/// Join every pool thread and release the records. Threads that a failed start left behind rest at the barrier, which
/// lets them go. Blocks.
void releaseThreadPool(DDS_AsyncWaitSet *self)
{
    AWS_claimAlone(self);
    if (self->_isPoolFailed != 0) ZYLOsapiBarrier_abort(self->_barrier);
    for (std::size_t i = self->_property.thread_pool_size; i > 0; --i) {
        DDS_AsyncWaitSetThread_finalize(&self->_threadPool[i - 1]);
        VESKService_end(&self->_threadPool[i - 1]._service, self->_globals->_workerPerThread);
    }
    ZYLOsapiHeap_freeArray(self->_threadPool);
    self->_threadPool = nullptr;
}

void destroyArea(const DDS_AsyncWaitSet *self, VESKExclusiveArea *&area)
{
    if (area != nullptr) VESKWorkerFactory_destroyExclusiveArea(self->_globals->_workerPerThread->_workerFactory, area);
    area = nullptr;
}

/// Release the plain wait set, then the doorbell that is still attached to it.
AWSStep releaseWaitSet(DDS_AsyncWaitSet *self, DDS_ReturnCode_t &retCode)
{
    if (self->_sharedWaitSet != nullptr) {
        retCode = DDS_WaitSet_delete(self->_sharedWaitSet);
        if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "delete shared WaitSet");
        self->_sharedWaitSet = nullptr;
    }
    if (self->_taskCondition != nullptr) {
        retCode = DDS_CountingCondition_delete(self->_taskCondition);
        if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "delete shared request condition");
        self->_taskCondition = nullptr;
    }
    return {};
}

void releasePools(DDS_AsyncWaitSet *self)
{
    AWS_claimAlone(self);
    if (self->_taskInfoPool != nullptr) AWS_returnStrandedRequests(self);
    for (VESKFastBufferPool **const pool : {&self->_conditionInfoPool, &self->_taskInfoPool}) {
        if (*pool != nullptr) VESKFastBufferPool_delete(*pool);
        *pool = nullptr;
    }
}

}  // namespace

int DDS_AsyncWaitSet_initialize(DDS_AsyncWaitSet *self, DDS_DomainParticipantFactory *factory,
                                DDS_AsyncWaitSetGlobals *globals, const struct DDS_AsyncWaitSetProperty_t *awsProperty,
                                const struct DDS_AsyncWaitSetListener *listener,
                                const struct DDS_ThreadFactory *threadFactory,
                                VESKOrderedDataTypeCompareWithUserDataFunction compareConditionHandler,
                                void *compareUserData)
{
    if (self == nullptr) return AWS_NULL(0, self);
    if (factory == nullptr) return AWS_NULL(0, factory);
    if (globals == nullptr) return AWS_NULL(0, globals);
    if (awsProperty == nullptr) return AWS_NULL(0, awsProperty);

    std::memset(static_cast<void *>(self), 0, sizeof *self);
    self->_globals = globals;
    const Blueprint blueprint = {factory,        *awsProperty, listener, threadFactory, compareConditionHandler,
                                 compareUserData};
    for (const auto build : buildSteps) {
        if (AWS_REPORT(build(self, blueprint)) == DDS_RETCODE_OK) continue;
        static_cast<void>(DDS_AsyncWaitSet_finalize(self));
        return 0;
    }
    self->_runningState = DDS_RUNNING_AWS_STARTED_STATE;
    return 1;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_finalize(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    Standing standing = {};
    AWSStep step = refuseWithTokensOut(self, standing);
    if (!step.hasFailed()) step = refuseOnOwnThread(self, standing.isStarted);
    if (step.hasFailed()) return AWS_REPORT(step);

    DDS_ReturnCode_t retCode = DDS_RETCODE_ERROR;  // the last one that a step yields
    reclaimAbandonedPool(self);
    if (DDS_AsyncWaitSet_is_started(self) != DDS_BOOLEAN_FALSE) {
        retCode =
            DDS_AsyncWaitSet_stop_with_completion_token(self, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "request stop");
        step = refuseWithTokensOut(self, standing);
        if (step.hasFailed()) return AWS_REPORT(step);
    }
    step = detachAll(self, retCode);
    if (step.hasFailed()) return AWS_REPORT(step);
    deleteIdleTokens(self, retCode);

    if (self->_threadPool != nullptr) releaseThreadPool(self);
    if (self->_barrier != nullptr) ZYLOsapiBarrier_delete(self->_barrier);
    self->_barrier = nullptr;
    destroyArea(self, self->_threadPoolSynchronizerEA);
    step = releaseWaitSet(self, retCode);
    if (step.hasFailed()) return AWS_REPORT(step);
    static_cast<void>(DDS_AsyncWaitSetProperty_t_finalize(&self->_property));
    releasePools(self);
    destroyArea(self, self->_criticalSectionEA);
    return retCode;
}
