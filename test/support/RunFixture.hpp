/// @file
/// A pool thread's record whose body the test calls on its own thread, with doubles of the services that the body
/// stands on: what the thread waits for, finds and acknowledges is written down by the test.
///
/// Protection: for the test's own thread.
// Replaces: ZYLOsapiUtility_snprintf DDS_AsyncWaitSetGlobals_createWorker DDS_AsyncWaitSetGlobals_createDdsWorker
// Replaces: DDS_AsyncWaitSetGlobals_setThreadSpecific DDS_AsyncWaitSet_executeInternalTasks DDS_WaitSet_waitI
// Replaces: DDS_WaitSet_end_waitI DDS_AsyncWaitSet_onWaitTimeout DDS_AsyncWaitSet_notify_task_executed
// Replaces: ZYLOsapiBarrier_wait ZYLOsapiThread_yield DDS_ConditionSeq_finalize
#ifndef RUN_FIXTURE_HPP
#define RUN_FIXTURE_HPP

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <type_traits>
#include <utility>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Double.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

/// The handler that a wake-up is dispatched by.
inline doubled::LocalDouble<std::remove_pointer_t<DDS_AsyncWaitSetThreadHandler_OnWakeUpCallback>> wakeUp("wake up");

class RunFixture : public testing::Test {
protected:
    explicit RunFixture(DDS_UnsignedLong poolSize)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        const DDS_AsyncWaitSetListener listener = recorder.listener();
        const DDS_ThreadFactory factory = {this,
                                           [](void *self, const char *, const DDS_ThreadSettings_t *,
                                              DDS_ThreadFactory_OnSpawnedFunction, void *) { return self; },
                                           [](void *, void *) {}};
        aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, &listener, &factory);
        aws->_threadHandler = {
            nullptr, [](void *data, DDS_ConditionSeq *active) { wakeUp.callOr([](auto...) {}, data, active); }};
        thread = &aws->_threadPool[0];
        thread->_threadName = DDS_String_dup("abcdefghijklmnop");
        replaceServices();
        noteServices();
    }
    ~RunFixture() override
    {
        doubles.heal();
        DDS_AsyncWaitSetGlobals_setThreadSpecific(aws->_globals, nullptr);
        aws->_isStarted = 0;
        // The test's own thread has served in the record, and is not one that can be joined.
        VESKService_end(&thread->_service, aws->_globals->_workerPerThread);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    RunFixture(const RunFixture &) = delete;
    RunFixture &operator=(const RunFixture &) = delete;

    void run()
    {
        EXPECT_EQ(DDS_AsyncWaitSet_run(thread), nullptr);
        _waitCount = _executionCount = 0;
    }
    /// The next run's first wait for which nothing is written down yet does this. Waits beyond those are real.
    template <class Action>
    void onWait(Action action)
    {
        doubles.on(wait).instead(++_waitCount, std::move(action));
    }
    void waitReturns(DDS_ReturnCode_t code)
    {
        onWait([code] { return code; });
    }
    /// The same for the executions of requests.
    template <class Action>
    void onExecution(Action action)
    {
        doubles.on(execute).instead(++_executionCount, std::move(action));
    }
    void executionReturns(DDS_ReturnCode_t code)
    {
        onExecution([code] { return code; });
    }
    /// An execution that finds the stop request.
    void executionStops(DDS_ReturnCode_t code = DDS_RETCODE_OK)
    {
        onExecution([this, code](DDS_AsyncWaitSet *, DDS_AWSTaskInfo **stopOut, DDS_AsyncWaitSetThread *) {
            *stopOut = &stop;
            return code;
        });
    }

    /// The calls after those by which the thread made its workers and bound itself.
    std::vector<std::string> callsOfLoop() const
    {
        const std::vector<std::string> all = doubles.calls();
        return {all.begin() + std::min<std::ptrdiff_t>(4, std::ssize(all)), all.end()};
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
        EXPECT_THAT(doubles.calls(), testing::ElementsAreArray(expectedCalls));
        EXPECT_TRUE(log.has(ZYL_LOG_LEVEL_WARNING, message, text));
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_TRUE(recorder.events().empty());
    }

    static constexpr const char *wait = "DDS_WaitSet_waitI";
    static constexpr const char *execute = "DDS_AsyncWaitSet_executeInternalTasks";
    static constexpr const char *acknowledge = "DDS_AsyncWaitSet_notify_task_executed";
    static constexpr const char *barrier = "ZYLOsapiBarrier_wait";

    const size_t blocks = (DDS_AsyncWaitSetGlobals_get_instance(), ZYLOsapiHeap_getBlockCount());
    RecordingListener recorder;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetThread *thread = nullptr;
    DDS_AWSTaskInfo stop = {};
    DDS_ConditionSeq *dispatched = nullptr;
    LogCapture log;
    Doubles doubles;

private:
    /// There is one thread only, which nobody waits for and whose stop is no real request.
    void replaceServices()
    {
        doubles.on(barrier).instead([]() -> int { return ZYL_OSAPI_SEMAPHORE_STATUS_OK; });
        doubles.on("ZYLOsapiThread_yield").instead([] {});
        doubles.on(acknowledge).instead([] { return DDS_RETCODE_OK; });
        doubles.on("wake up").instead([this](void *, DDS_ConditionSeq *active) {
            dispatched = active;
            thread->_hasFoundWork = 1;
        });
    }
    /// Calls are noted as the steps of the body that they are.
    void noteServices()
    {
        const auto noteWorker = [this](const char *service, const std::string &text) {
            doubles.on(service).as(
                [text](DDS_AsyncWaitSetGlobals *, const char *name) { return text + "(" + name + ")"; });
        };
        noteWorker("DDS_AsyncWaitSetGlobals_createWorker", "worker");
        noteWorker("DDS_AsyncWaitSetGlobals_createDdsWorker", "dds worker");
        doubles.on("DDS_AsyncWaitSetGlobals_setThreadSpecific").with(thread).as("bind");  // no other record
        doubles.on("DDS_AsyncWaitSetGlobals_setThreadSpecific").with(nullptr).as("unbind");
        doubles.on(acknowledge).with(&stop).as("notify");  // no other request
        for (const auto &[service, text] : {std::pair{"ZYLOsapiUtility_snprintf", "snprintf"},
                                            {execute, "execute"},
                                            {wait, "wait"},
                                            {"DDS_WaitSet_end_waitI", "end wait"},
                                            {"ZYLOsapiThread_yield", "yield"},
                                            {"DDS_ConditionSeq_finalize", "finalize sequence"}})
            doubles.on(service).as(text);
        doubles.clear();
    }

    int _waitCount = 0;  ///< What is written down for the next run.
    int _executionCount = 0;
};

class Run : public RunFixture {
protected:
    Run() : RunFixture(1) {}
};

class RunInPool : public RunFixture {
protected:
    RunInPool() : RunFixture(3) {}
};

#endif
