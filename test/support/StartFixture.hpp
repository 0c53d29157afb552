/// @file
/// For the tests of start: a wait set that is not started, with a thread factory that counts, and doubles of what start
/// needs before it waits: its token and its area.
///
/// Protection: for the test's own thread; a test that needs a double on pool threads asks for it.
// Replaces: DDS_AsyncWaitSet_loanCompletionToken VESKWorker_enterExclusiveArea VESKWorker_leaveExclusiveArea
#ifndef START_FIXTURE_HPP
#define START_FIXTURE_HPP

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "Signal.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

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
        blockCount = ZYLOsapiHeap_getBlockCount();
        doubles.on(loanToken).instead([this](DDS_AsyncWaitSet *self) {
            return lent = Doubles::real<decltype(DDS_AsyncWaitSet_loanCompletionToken)>(loanToken)(self);
        });
    }

    void TearDown() override
    {
        doubles.heal();
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
        ASSERT_NE(lent, nullptr);
        lent->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
        EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(aws, lent), DDS_RETCODE_OK);
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

    /// Rules about entering and leaving the critical section of the wait set.
    DoubledService entering(TestLine line = TestLine::here())
    {
        return doubles.on("VESKWorker_enterExclusiveArea", line).with(aws->_criticalSectionEA);
    }
    DoubledService leaving(TestLine line = TestLine::here())
    {
        return doubles.on("VESKWorker_leaveExclusiveArea", line).with(aws->_criticalSectionEA);
    }

    static constexpr const char *loanToken = "DDS_AsyncWaitSet_loanCompletionToken";

    std::size_t blockCount = 0;
    Doubles doubles;
    DDS_AsyncWaitSetCompletionToken *lent = nullptr;  ///< The token lent last for an implicit wait.
    RecordingListener listener;
    CountingFactory factory;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetCompletionToken *token = nullptr;  ///< The application's own.
};

#endif
