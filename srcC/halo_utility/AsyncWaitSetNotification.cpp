/// @file
/// Notification: counting what is finished. The last notification of a request takes it out of the queue, returns its
/// record, lowers the doorbell and tells its token.
///
/// Protection: the critical section.
#include "AsyncWaitSetNotification.hpp"

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRequest.hpp"

namespace {

/// Whether lowering the doorbell is this request's business. A request that was executed by its submitter never rang
/// it, so it leaves it alone while others are queued.
bool ownsDoorbell(const DDS_AsyncWaitSet *self, bool isInline) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return !isInline || AWS_firstRequest(self) == nullptr;
}

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_notifyTaskExecutedI(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (taskInfo == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, taskInfo);
    AWS_claimCriticalSection(self);

    taskInfo->_notificationCount += 1;
    if (taskInfo->_notificationCount != self->_property.thread_pool_size) return DDS_RETCODE_OK;

    AWS_unlinkRequest(self, taskInfo);
    DDS_AsyncWaitSetCompletionToken *const token = taskInfo->_completionToken;
    const bool isInline = taskInfo->_isInline != 0;
    DDS_AsyncWaitSet_returnTaskInfo(self, taskInfo);

    if (ownsDoorbell(self, isInline)) {
        const AWSStep step = AWS_lowerDoorbell(self);
        if (step.hasFailed()) return AWS_REPORT(step);
    }
    if (token == nullptr) return DDS_RETCODE_OK;

    const auto nextState = AWS_nextTokenState(token, DDS_AsyncWaitSetCompletionTokenEvent_NOTIFY);
    if (nextState == DDS_AsyncWaitSetCompletionTokenState_INVALID)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "invalid event completion token state");
    token->_state = nextState;
    const DDS_ReturnCode_t retCode = token->_handler.notify(token->_handler.handlerData, token);
    if (token->_isKept != 0) AWS_bringHome(self, token);
    return retCode;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (taskInfo == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, taskInfo);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_notifyTaskExecutedI(self, taskInfo);
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    return retCode;
}
