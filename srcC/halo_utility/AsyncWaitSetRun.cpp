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

namespace {

/// What a pool thread has on its own stack.
struct Runner {
    DDS_AsyncWaitSetThread *thread;
    DDS_AsyncWaitSet *self;
    DDS_ConditionSeq conditionSeq;
    DDS_AWSTaskInfo *pendingStopTask;  ///< The stop that it has executed and not acknowledged, or null.
    char workerName[VESK_WORKER_NAME_SIZE];
};

/// Make the calling thread a pool thread: its mark, its workers, its record in the thread's storage, its id.
AWSStep becomePoolThread(Runner &runner)
{
    DDS_AsyncWaitSetThread *const thread = runner.thread;
    DDS_AsyncWaitSetGlobals *const globals = runner.self->_globals;
    VESKService_render(&thread->_service, globals->_workerPerThread);
    if (ZYLOsapiUtility_snprintf(runner.workerName, sizeof runner.workerName, "%.*s_aws", 15, thread->_threadName) < 0)
        return AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, ZYL_LOG_INIT_FAILURE_s, "worker name");
    thread->_awsWorker = DDS_AsyncWaitSetGlobals_createWorker(globals, runner.workerName);
    if (thread->_awsWorker == nullptr) return AWS_STEP_CREATION_FAILED("worker", runner.workerName);
    thread->_ddsWorker = DDS_AsyncWaitSetGlobals_createDdsWorker(globals, thread->_threadName);
    if (thread->_ddsWorker == nullptr) return AWS_STEP_CREATION_FAILED("worker", thread->_threadName);
    if (DDS_AsyncWaitSetGlobals_setThreadSpecific(globals, thread) == 0)
        return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "set TSS for this WSCT");
    thread->_threadId = ZYLOsapiThread_getCurrentThreadID();
    return {};
}

/// Make it an application thread again: a factory may keep it, and its destructors may use any wait set. What tells
/// that it has not been joined is its service alone.
void becomeApplicationThread(const Runner &runner)
{
    DDS_AsyncWaitSetGlobals *const globals = runner.self->_globals;
    if (AWS_currentThread(runner.self) == runner.thread)
        static_cast<void>(DDS_AsyncWaitSetGlobals_setThreadSpecific(globals, nullptr));
}

/// Execute the start request, which is in the first batch.
AWSStep executeStart(Runner &runner)
{
    if (DDS_AsyncWaitSet_executeInternalTasks(runner.self, &runner.pendingStopTask, runner.thread) != DDS_RETCODE_OK)
        return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "execute start task. Thread will terminate.");
    return {};
}

/// The wait has ended with something active: dispatch, unless suspended, and execute what is queued.
AWSStep serveWakeUp(Runner &runner)
{
    DDS_AsyncWaitSet *const self = runner.self;
    runner.thread->_hasFoundWork = 0;
    if (handoffRead(self->_runningState) == DDS_RUNNING_AWS_STARTED_STATE)
        self->_threadHandler.on_wake_up(self->_threadHandler.handler_data, &runner.conditionSeq);
    else
        DDS_WaitSet_end_waitI(self->_sharedWaitSet);
    if (DDS_AsyncWaitSet_executeInternalTasks(self, &runner.pendingStopTask, runner.thread) != DDS_RETCODE_OK)
        return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "execute internal tasks. Thread will terminate.");
    // A condition can be back in the waits and still be marked as locked: its dispatcher unmasks it before it clears
    // the mark. Then the wait ends at once and there is nothing to pick. Let that thread run.
    if (runner.pendingStopTask == nullptr && runner.thread->_hasFoundWork == 0) ZYLOsapiThread_yield();
    return {};
}

/// Wait and serve until a stop has been executed. Blocks.
AWSStep waitAndServe(Runner &runner)
{
    DDS_AsyncWaitSet *const self = runner.self;
    while (runner.pendingStopTask == nullptr) {
        const DDS_ReturnCode_t retCode =
            DDS_WaitSet_waitI(self->_sharedWaitSet, &runner.conditionSeq, &self->_property.wait_timeout);
        if (retCode == DDS_RETCODE_TIMEOUT) {
            DDS_AsyncWaitSet_onWaitTimeout(self, runner.thread);
            continue;
        }
        if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "wait for event. Thread will terminate.");
        const AWSStep step = serveWakeUp(runner);
        if (step.hasFailed()) return step;
    }
    return {};
}

}  // namespace

void *DDS_AsyncWaitSet_run(void *threadParam)
{
    if (threadParam == nullptr) return AWS_NULL(nullptr, threadParam);
    auto *const thread = static_cast<DDS_AsyncWaitSetThread *>(threadParam);
    Runner runner = {thread, thread->_owner, DDS_SEQUENCE_INITIALIZER, nullptr, {}};

    AWSStep step = becomePoolThread(runner);
    if (!step.hasFailed()) step = executeStart(runner);
    static_cast<void>(AWS_REPORT(step));
    // A thread that found no start request belongs to a start that failed; it leads nobody and ends at once.
    if (!step.hasFailed() && thread->_mustClaimStart == 0) {
        step = waitAndServe(runner);
        if (AWS_REPORT(step) != DDS_RETCODE_OK)
            ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE, "%s: thread with ID %llu exited ungracefully\n",
                           "DDS_AsyncWaitSet_run",
                           static_cast<unsigned long long>(ZYLOsapiThread_getCurrentThreadID()));
    }

    static_cast<void>(DDS_ConditionSeq_finalize(&runner.conditionSeq));
    // The other requests of the last batch have their barriers too: somebody may be waiting there for this thread.
    if (runner.pendingStopTask != nullptr && !AWS_passBarrier(runner.self, thread->_lastRequestCount - 1))
        AWS_WARN("barrier wait");
    becomeApplicationThread(runner);
    if (runner.pendingStopTask != nullptr) {
        if (DDS_AsyncWaitSet_notify_task_executed(runner.self, runner.pendingStopTask) != DDS_RETCODE_OK)
            AWS_WARN("notify request processed");
    }
    return nullptr;
}
