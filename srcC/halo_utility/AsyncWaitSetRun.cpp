/// @file
/// A pool thread from the inside: its main loop.
///
/// Protection: the loop runs as leader except where dispatch and execution give leadership up.
/// Calls out: handlers and the listener, through dispatch and the tasks.
#include "AsyncWaitSetRun.hpp"

#include "AsyncWaitSetExecution.hpp"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetNotification.hpp"
#include "AsyncWaitSetRelay.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

void *DDS_AsyncWaitSet_run(void *threadParam)
{
    if (threadParam == nullptr) return AWS_NULL(nullptr, threadParam);
    auto *const thread = static_cast<DDS_AsyncWaitSetThread *>(threadParam);
    DDS_AsyncWaitSet *const self = thread->_owner;
    DDS_ConditionSeq conditionSeq = DDS_SEQUENCE_INITIALIZER;
    DDS_AWSTaskInfo *pendingStopTask = nullptr;
    bool isRunning = false;

    char workerName[VESK_WORKER_NAME_SIZE];
    if (ZYLOsapiUtility_snprintf(workerName, sizeof workerName, "%.*s_aws", 15, thread->_threadName) < 0) {
        AWS_FAILED_AS(static_cast<void>(0), ZYL_LOG_INIT_FAILURE_s, "worker name");
    } else if ((thread->_awsWorker = DDS_AsyncWaitSetGlobals_createWorker(self->_globals, workerName)) == nullptr) {
        AWS_FAILED_AS(static_cast<void>(0), ZYL_LOG_CREATION_FAILURE_ss, "worker", workerName);
    } else if ((thread->_ddsWorker = DDS_AsyncWaitSetGlobals_createDdsWorker(self->_globals, thread->_threadName)) ==
               nullptr) {
        AWS_FAILED_AS(static_cast<void>(0), ZYL_LOG_CREATION_FAILURE_ss, "worker", thread->_threadName);
    } else if (DDS_AsyncWaitSetGlobals_setThreadSpecific(self->_globals, thread) == 0) {
        AWS_WARN("set TSS for this WSCT");
    } else if (thread->_threadId = ZYLOsapiThread_getCurrentThreadID();
               DDS_AsyncWaitSet_executeInternalTasks(self, &pendingStopTask, thread) != DDS_RETCODE_OK) {
        AWS_WARN("execute start task. Thread will terminate.");
    } else {
        // A thread that found no start request belongs to a start that failed; it leads nobody and ends at once.
        isRunning = pendingStopTask == nullptr && thread->_mustClaimStart == 0;
    }

    while (isRunning) {
        const DDS_ReturnCode_t retCode =
            DDS_WaitSet_waitI(self->_sharedWaitSet, &conditionSeq, &self->_property.wait_timeout);
        if (retCode == DDS_RETCODE_TIMEOUT) {
            DDS_AsyncWaitSet_onWaitTimeout(self, thread);
            continue;
        }
        if (retCode != DDS_RETCODE_OK) {
            AWS_WARN("wait for event. Thread will terminate.");
            break;
        }

        thread->_hasFoundWork = 0;
        if (handoffRead(self->_runningState) == DDS_RUNNING_AWS_STARTED_STATE)
            self->_threadHandler.on_wake_up(self->_threadHandler.handler_data, &conditionSeq);
        else
            DDS_WaitSet_end_waitI(self->_sharedWaitSet);
        if (DDS_AsyncWaitSet_executeInternalTasks(self, &pendingStopTask, thread) != DDS_RETCODE_OK) {
            AWS_WARN("execute internal tasks. Thread will terminate.");
            break;
        }
        isRunning = pendingStopTask == nullptr;
        // A condition can be back in the waits and still be marked as locked: its dispatcher unmasks it before it
        // clears the mark. Then the wait ends at once and there is nothing to pick. Let that thread run.
        if (isRunning && thread->_hasFoundWork == 0) ZYLOsapiThread_yield();
    }
    if (isRunning)
        ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE, "%s: thread with ID %llu exited ungracefully\n",
                       "DDS_AsyncWaitSet_run", static_cast<unsigned long long>(ZYLOsapiThread_getCurrentThreadID()));

    static_cast<void>(DDS_ConditionSeq_finalize(&conditionSeq));
    if (pendingStopTask != nullptr) {
        // The other requests of the last batch have their barriers too: somebody may be waiting there for this thread.
        if (!AWS_passBarrier(self, thread->_lastRequestCount - 1)) AWS_WARN("barrier wait");
        if (DDS_AsyncWaitSet_notify_task_executed(self, pendingStopTask) != DDS_RETCODE_OK)
            AWS_WARN("notify request processed");
    }
    return nullptr;
}
