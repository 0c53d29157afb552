/// @file
/// A pool thread's record whose body the test calls on its own thread, and replacements of the services that the body
/// stands on. Include it in one file only.
///
/// Protection: for the test's own thread.
#ifndef RUN_FIXTURE_HPP
#define RUN_FIXTURE_HPP

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <deque>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "ServiceCalls.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

/// What the replaced services answer, call by call; the real service answers when nothing is written down.
struct Script {
    using Wait = std::function<DDS_ReturnCode_t(DDS_ConditionSeq *, const DDS_Duration_t *)>;
    using Execution = std::function<DDS_ReturnCode_t(DDS_AWSTaskInfo **)>;
    std::deque<Wait> waits;
    std::deque<Execution> executions;
    std::deque<int> barriers;
    bool isNotificationReal = false;
    DDS_AWSTaskInfo *notified = nullptr;
    DDS_AsyncWaitSetThread *bound = nullptr;
};
Script script;

template <class Answer>
Answer next(std::deque<Answer> &answers)
{
    Answer answer = answers.front();
    answers.pop_front();
    return answer;
}

}  // namespace

extern "C" {

int __wrap_ZYLOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
{
    if (ServiceCalls::fails("snprintf")) return -1;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}
VESKWorker *__real_DDS_AsyncWaitSetGlobals_createWorker(DDS_AsyncWaitSetGlobals *self, const char *name);
VESKWorker *__wrap_DDS_AsyncWaitSetGlobals_createWorker(DDS_AsyncWaitSetGlobals *self, const char *name)
{
    if (ServiceCalls::fails("worker", name)) return nullptr;
    return __real_DDS_AsyncWaitSetGlobals_createWorker(self, name);
}
VESKWorker *__real_DDS_AsyncWaitSetGlobals_createDdsWorker(DDS_AsyncWaitSetGlobals *self, const char *name);
VESKWorker *__wrap_DDS_AsyncWaitSetGlobals_createDdsWorker(DDS_AsyncWaitSetGlobals *self, const char *name)
{
    if (ServiceCalls::fails("dds worker", name)) return nullptr;
    return __real_DDS_AsyncWaitSetGlobals_createDdsWorker(self, name);
}
int __real_DDS_AsyncWaitSetGlobals_setThreadSpecific(DDS_AsyncWaitSetGlobals *self, DDS_AsyncWaitSetThread *thread);
int __wrap_DDS_AsyncWaitSetGlobals_setThreadSpecific(DDS_AsyncWaitSetGlobals *self, DDS_AsyncWaitSetThread *thread)
{
    if (ServiceCalls::fails("bind")) return 0;
    script.bound = thread;
    return __real_DDS_AsyncWaitSetGlobals_setThreadSpecific(self, thread);
}
DDS_ReturnCode_t __real_DDS_AsyncWaitSet_executeInternalTasks(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo **stopOut,
                                                              DDS_AsyncWaitSetThread *thread);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_executeInternalTasks(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo **stopOut,
                                                              DDS_AsyncWaitSetThread *thread)
{
    ServiceCalls::fails("execute");
    if (script.executions.empty()) return __real_DDS_AsyncWaitSet_executeInternalTasks(self, stopOut, thread);
    return next(script.executions)(stopOut);
}
DDS_ReturnCode_t __real_DDS_WaitSet_waitI(DDS_WaitSet *self, DDS_ConditionSeq *active, const DDS_Duration_t *timeout);
DDS_ReturnCode_t __wrap_DDS_WaitSet_waitI(DDS_WaitSet *self, DDS_ConditionSeq *active, const DDS_Duration_t *timeout)
{
    ServiceCalls::fails("wait");
    if (script.waits.empty()) return __real_DDS_WaitSet_waitI(self, active, timeout);
    return next(script.waits)(active, timeout);
}
void __real_DDS_WaitSet_end_waitI(DDS_WaitSet *self);
void __wrap_DDS_WaitSet_end_waitI(DDS_WaitSet *self)
{
    ServiceCalls::fails("end wait");
    __real_DDS_WaitSet_end_waitI(self);
}
void __real_DDS_AsyncWaitSet_onWaitTimeout(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread);
void __wrap_DDS_AsyncWaitSet_onWaitTimeout(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread)
{
    ServiceCalls::fails("time-out", std::to_string(thread->index));
    __real_DDS_AsyncWaitSet_onWaitTimeout(self, thread);
}
DDS_ReturnCode_t __real_DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    if (ServiceCalls::fails("notify")) return DDS_RETCODE_ERROR;
    script.notified = taskInfo;
    return script.isNotificationReal ? __real_DDS_AsyncWaitSet_notify_task_executed(self, taskInfo) : DDS_RETCODE_OK;
}
int __wrap_ZYLOsapiBarrier_wait(ZYLOsapiBarrier *)
{
    ServiceCalls::fails("barrier");
    return script.barriers.empty() ? ZYL_OSAPI_SEMAPHORE_STATUS_OK : next(script.barriers);
}
void __wrap_ZYLOsapiThread_yield(void)
{
    ServiceCalls::fails("yield");
}
DDS_Boolean __real_DDS_ConditionSeq_finalize(DDS_ConditionSeq *self);
DDS_Boolean __wrap_DDS_ConditionSeq_finalize(DDS_ConditionSeq *self)
{
    ServiceCalls::fails("finalize sequence");
    return __real_DDS_ConditionSeq_finalize(self);
}
}

namespace {

/// A pool thread's record whose body the test calls itself.
class RunFixture : public testing::Test {
protected:
    explicit RunFixture(DDS_UnsignedLong poolSize)
    {
        script = {};
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        const DDS_AsyncWaitSetListener listener = recorder.listener();
        const DDS_ThreadFactory factory = {this,
                                           [](void *self, const char *, const DDS_ThreadSettings_t *,
                                              DDS_ThreadFactory_OnSpawnedFunction, void *) { return self; },
                                           [](void *, void *) {}};
        aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, &listener, &factory);
        aws->_threadHandler = {this, [](void *self, DDS_ConditionSeq *seq) {
                                   ServiceCalls::fails("wake up");
                                   static_cast<RunFixture *>(self)->dispatched = seq;
                                   static_cast<RunFixture *>(self)->thread->_hasFoundWork = 1;
                               }};
        thread = &aws->_threadPool[0];
        thread->_threadName = DDS_String_dup("abcdefghijklmnop");
        calls.clear();
    }
    ~RunFixture() override
    {
        __real_DDS_AsyncWaitSetGlobals_setThreadSpecific(aws->_globals, nullptr);
        aws->_isStarted = 0;
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    RunFixture(const RunFixture &) = delete;
    RunFixture &operator=(const RunFixture &) = delete;

    void run() { EXPECT_EQ(DDS_AsyncWaitSet_run(thread), nullptr); }
    static void waitReturns(DDS_ReturnCode_t code)
    {
        script.waits.emplace_back([code](DDS_ConditionSeq *, const DDS_Duration_t *) { return code; });
    }
    static void executionReturns(DDS_ReturnCode_t code)
    {
        script.executions.emplace_back([code](DDS_AWSTaskInfo **) { return code; });
    }
    /// An execution that finds the stop request.
    void executionStops(DDS_ReturnCode_t code = DDS_RETCODE_OK)
    {
        script.executions.emplace_back([this, code](DDS_AWSTaskInfo **stopOut) {
            *stopOut = &stop;
            return code;
        });
    }
    void expectUngracefulLine()
    {
        EXPECT_TRACE(log, ZYL_LOG_LEVEL_WARNING,
                     LogCapture::format("DDS_AsyncWaitSet_run: thread with ID %llu exited ungracefully\n",
                                        static_cast<unsigned long long>(ZYLOsapiThread_getCurrentThreadID())));
    }
    /// The thread ended after these calls without entering its loop, said this, and told nobody.
    void expectEndedEarly(const std::vector<std::string> &expectedCalls, const ZYLLogTemplate &message,
                          const std::string &text)
    {
        EXPECT_THAT(calls.list(), testing::ElementsAreArray(expectedCalls));
        EXPECT_TRUE(log.has(ZYL_LOG_LEVEL_WARNING, message, text));
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_TRUE(recorder.events().empty());
    }

    const size_t blocks = (DDS_AsyncWaitSetGlobals_get_instance(), ZYLOsapiHeap_getBlockCount());
    RecordingListener recorder;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetThread *thread = nullptr;
    DDS_AWSTaskInfo stop = {};
    DDS_ConditionSeq *dispatched = nullptr;
    LogCapture log;
    ServiceCalls calls;
};

class Run : public RunFixture {
protected:
    Run() : RunFixture(1) {}
};

class RunInPool : public RunFixture {
protected:
    RunInPool() : RunFixture(3) {}
};

}  // namespace

#endif
