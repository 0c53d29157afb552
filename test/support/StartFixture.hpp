/// @file
/// For the tests of start: the services that start calls, replaced so that a test can look at a call, decide its result
/// or hold it up; a thread factory that counts; and a wait set that is not started. A program that includes this
/// replaces the services named by the __wrap_ functions below.
///
/// Protection: the hooks are set while no other thread can reach them. A countdown belongs to the thread that set it.
#ifndef START_FIXTURE_HPP
#define START_FIXTURE_HPP

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "Signal.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

/// Makes the Nth call of the thread that sets it fail, and the calls after it if more than one is to fail.
struct Countdown {
    int left = 0;  ///< 0: none fails.
    int times = 1;

    bool strikes()
    {
        if (left == 0 || --left > 0) return false;
        if (--times > 0) left = 1;
        return true;
    }
};

struct StartServices {
    std::function<DDS_AsyncWaitSetCompletionToken *(DDS_AsyncWaitSet *)> loan;
    std::function<DDS_ReturnCode_t(DDS_Task *, void *, DDS_AsyncWaitSetCompletionToken *)> submit;
    std::function<DDS_ReturnCode_t(DDS_AsyncWaitSet *, DDS_Long)> createThread;
    std::function<DDS_ReturnCode_t(DDS_AsyncWaitSetCompletionToken *)> wait;
    std::function<DDS_ReturnCode_t(DDS_AsyncWaitSet *, DDS_AsyncWaitSetCompletionToken *)> giveBack;
    std::function<void(DDS_AWSTaskInfo *)> beforeNotify;  ///< On pool threads, before an execution is reported.
    std::atomic<const VESKExclusiveArea *> area{nullptr};
    DDS_AsyncWaitSetCompletionToken *lent = nullptr;  ///< The token lent last for an implicit wait.
};
inline StartServices services;
inline thread_local Countdown failEnter, failLeave, failSetProperty, failIncrement, failGetBuffer;

extern "C" {
DDS_AsyncWaitSetCompletionToken *__real_DDS_AsyncWaitSet_loanCompletionToken(DDS_AsyncWaitSet *);
DDS_AsyncWaitSetCompletionToken *__wrap_DDS_AsyncWaitSet_loanCompletionToken(DDS_AsyncWaitSet *self)
{
    return services.lent = services.loan ? services.loan(self) : __real_DDS_AsyncWaitSet_loanCompletionToken(self);
}

DDS_ReturnCode_t __real_DDS_AsyncWaitSet_submitTaskI(DDS_AsyncWaitSet *, DDS_Task *, void *,
                                                     DDS_AsyncWaitSetCompletionToken *);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_submitTaskI(DDS_AsyncWaitSet *self, DDS_Task *task, void *userData,
                                                     DDS_AsyncWaitSetCompletionToken *token)
{
    if (services.submit) return services.submit(task, userData, token);
    return __real_DDS_AsyncWaitSet_submitTaskI(self, task, userData, token);
}

DDS_ReturnCode_t __real_DDS_AsyncWaitSet_createThread(DDS_AsyncWaitSet *, DDS_Long);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_createThread(DDS_AsyncWaitSet *self, DDS_Long index)
{
    return services.createThread ? services.createThread(self, index)
                                 : __real_DDS_AsyncWaitSet_createThread(self, index);
}

DDS_ReturnCode_t __real_DDS_AsyncWaitSetCompletionToken_wait(DDS_AsyncWaitSetCompletionToken *, const DDS_Duration_t *);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSetCompletionToken_wait(DDS_AsyncWaitSetCompletionToken *token,
                                                             const DDS_Duration_t *timeout)
{
    return services.wait ? services.wait(token) : __real_DDS_AsyncWaitSetCompletionToken_wait(token, timeout);
}

DDS_ReturnCode_t __real_DDS_AsyncWaitSet_returnLoanedCompletionToken(DDS_AsyncWaitSet *,
                                                                     DDS_AsyncWaitSetCompletionToken *);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_returnLoanedCompletionToken(DDS_AsyncWaitSet *self,
                                                                     DDS_AsyncWaitSetCompletionToken *token)
{
    return services.giveBack ? services.giveBack(self, token)
                             : __real_DDS_AsyncWaitSet_returnLoanedCompletionToken(self, token);
}

DDS_ReturnCode_t __real_DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *, DDS_AWSTaskInfo *);
DDS_ReturnCode_t __wrap_DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    if (services.beforeNotify) services.beforeNotify(taskInfo);
    return __real_DDS_AsyncWaitSet_notify_task_executed(self, taskInfo);
}

int __real_VESKWorker_enterExclusiveArea(VESKWorker *, void *, VESKExclusiveArea *);
int __wrap_VESKWorker_enterExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
{
    if (area == services.area && failEnter.strikes()) return 0;
    return __real_VESKWorker_enterExclusiveArea(self, previousOut, area);
}

/// A leave that fails has left all the same.
int __real_VESKWorker_leaveExclusiveArea(VESKWorker *, void *, VESKExclusiveArea *);
int __wrap_VESKWorker_leaveExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
{
    const int result = __real_VESKWorker_leaveExclusiveArea(self, previousOut, area);
    return area == services.area && failLeave.strikes() ? 0 : result;
}

DDS_ReturnCode_t __real_DDS_WaitSet_set_property(DDS_WaitSet *, const DDS_WaitSetProperty_t *);
DDS_ReturnCode_t __wrap_DDS_WaitSet_set_property(DDS_WaitSet *self, const DDS_WaitSetProperty_t *property)
{
    return failSetProperty.strikes() ? DDS_RETCODE_OUT_OF_RESOURCES : __real_DDS_WaitSet_set_property(self, property);
}

DDS_ReturnCode_t __real_DDS_CountingCondition_increment(DDS_CountingCondition *, DDS_Long);
DDS_ReturnCode_t __wrap_DDS_CountingCondition_increment(DDS_CountingCondition *self, DDS_Long amount)
{
    return failIncrement.strikes() ? DDS_RETCODE_OUT_OF_RESOURCES
                                   : __real_DDS_CountingCondition_increment(self, amount);
}

void *__real_VESKFastBufferPool_getBufferWithSize(VESKFastBufferPool *, int);
void *__wrap_VESKFastBufferPool_getBufferWithSize(VESKFastBufferPool *self, int size)
{
    return failGetBuffer.strikes() ? nullptr : __real_VESKFastBufferPool_getBufferWithSize(self, size);
}
}

/// Makes real threads, refuses the one of a chosen name number, and counts.
class CountingFactory {
public:
    DDS_ThreadFactory factory()
    {
        return {this,
                [](void *self, const char *name, const DDS_ThreadSettings_t *settings,
                   DDS_ThreadFactory_OnSpawnedFunction body, void *parameter) {
                    return static_cast<CountingFactory *>(self)->create(name, settings, body, parameter);
                },
                [](void *self, void *handle) { static_cast<CountingFactory *>(self)->destroy(handle); }};
    }

    int refused = -1;     ///< Index of the pool thread that is not created.
    int created = 0;      ///< Threads made so far.
    int joined = 0;       ///< Threads joined so far.
    bool isIdle = false;  ///< Hand out handles without running anything.

private:
    void *create(const char *name, const DDS_ThreadSettings_t *settings, DDS_ThreadFactory_OnSpawnedFunction body,
                 void *parameter)
    {
        if (static_cast<DDS_AsyncWaitSetThread *>(parameter)->index == refused) return nullptr;
        created += 1;
        if (isIdle) return &_idleHandle;
        return _real.create_thread(_real.factory_data, name, settings, body, parameter);
    }
    void destroy(void *handle)
    {
        joined += 1;
        if (handle != &_idleHandle) _real.delete_thread(_real.factory_data, handle);
    }

    DDS_ThreadFactory _real =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    char _idleHandle = 0;
};

/// Why a start that must not wait for an old pool is refused.
inline const char *const stopping = "cannot accept more completion tokens while the thread is stopping";

class StartFixture : public testing::Test {
protected:
    void SetUp() override
    {
        resetServices();
        blockCount = ZYLOsapiHeap_getBlockCount();
    }

    void TearDown() override
    {
        resetServices();
        if (aws != nullptr) destroy();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount);
        EXPECT_EQ(factory.created, factory.joined);
    }

    void create(DDS_UnsignedLong poolSize, DDS_Long level = 1)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize, level);
        const DDS_AsyncWaitSetListener hearing = listener.listener();
        const DDS_ThreadFactory making = factory.factory();
        aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, &hearing, &making);
        ASSERT_NE(aws, nullptr);
        services.area = aws->_criticalSectionEA;
        token = DDS_AsyncWaitSet_create_completion_token(aws);
        ASSERT_NE(token, nullptr);
    }

    void destroy()
    {
        if (token != nullptr) {
            EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
        }
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        aws = nullptr;
        token = nullptr;
    }

    /// Take back the token that a failed start keeps, so that the wait set can be deleted.
    void takeBackLent()
    {
        ASSERT_NE(services.lent, nullptr);
        services.giveBack = nullptr;
        services.lent->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
        EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(aws, services.lent), DDS_RETCODE_OK);
    }

    DDS_ReturnCode_t start(DDS_AsyncWaitSetCompletionToken *with)
    {
        return DDS_AsyncWaitSet_start_with_completion_token(aws, with);
    }
    bool isStarted() const { return DDS_AsyncWaitSet_is_started(aws) != DDS_BOOLEAN_FALSE; }
    int loanCount() const { return aws->_loanedCompletionTokenCount; }
    VESKWorker *worker() const { return DDS_AsyncWaitSetGlobals_getWorker(aws->_globals); }
    int depth() const { return VESKWorker_getExclusiveAreaDepth(worker(), aws->_criticalSectionEA); }
    DDS_ReturnCode_t outcome() { return DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE); }

    /// The wait set really works: it runs a handler, and stops.
    void expectItRunsAndStops()
    {
        Signal handled;
        HandledGuard guard([&](HandledGuard &) { handled.give(); });
        EXPECT_TRUE(isStarted());
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        guard.trigger();
        handled.take();
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_FALSE(isStarted());
        EXPECT_EQ(DDS_CountingCondition_get_count(aws->_taskCondition), 0);
    }

    /// The caller is refused because it must not wait for the old pool.
    void expectRefused()
    {
        const int createdBefore = factory.created;
        const LogCapture log;
        EXPECT_EQ(start(ignoreToken()), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, stopping);
        EXPECT_LOG_COUNT(log, 1u);
        EXPECT_EQ(factory.created, createdBefore);
    }

    void expectRefusedUnderTheArea()
    {
        ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
        expectRefused();
        EXPECT_EQ(depth(), 1);
        ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    }

    /// A pool thread of a wait set of the same level does not wait; it is refused as always.
    void expectRefusedByLevel()
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
        DDS_AsyncWaitSet *const other = DDS_AsyncWaitSet_new(&property);
        {
            const PoolThreadGuise guise(other);
            const LogCapture log;
            EXPECT_EQ(start(token), DDS_RETCODE_PRECONDITION_NOT_MET);
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
            EXPECT_LOG_COUNT(log, 2u);
            EXPECT_FALSE(isStarted());
        }
        EXPECT_EQ(DDS_AsyncWaitSet_delete(other), DDS_RETCODE_OK);
    }

    static void resetServices()
    {
        services.loan = nullptr;
        services.submit = nullptr;
        services.createThread = nullptr;
        services.wait = nullptr;
        services.giveBack = nullptr;
        services.beforeNotify = nullptr;
        services.lent = nullptr;
        failEnter = failLeave = failSetProperty = failIncrement = failGetBuffer = {};
    }

    std::size_t blockCount = 0;
    RecordingListener listener;
    CountingFactory factory;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetCompletionToken *token = nullptr;  ///< The application's own.
};

#endif
