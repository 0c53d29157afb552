/// @file
/// A wait set's whole life on real threads, with services that fail on the application thread, and what the tests know
/// of the tokens.
///
/// Protection: faults belong to the test's own thread; the list of tokens has a mutex.
#ifndef LIFECYCLE_FIXTURE_HPP
#define LIFECYCLE_FIXTURE_HPP

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiHeap_freeMemoryInternal
// Replaces: VESKWorker_enterExclusiveArea VESKWorker_leaveExclusiveArea
// Replaces: DDS_WaitSet_set_property DDS_WaitSet_attach_condition DDS_WaitSet_detach_condition
// Replaces: DDS_WaitSet_mask_condition DDS_CountingCondition_increment DDS_CountingCondition_decrement
// Replaces: ZYLOsapiSemaphore_take ZYLOsapiSemaphore_give ZYLOsapiSemaphore_drain
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <semaphore>
#include <set>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLShared.pkg.hpp"

namespace lifecycle {

/// The tokens that exist, lent, idle or the test's own.
class Tokens {
public:
    void add(void *block)
    {
        change([&](auto &set) { set.insert(block); });
    }
    void remove(void *block)
    {
        change([&](auto &set) { set.erase(block); });
    }
    std::vector<DDS_AsyncWaitSetCompletionToken *> all()
    {
        std::vector<DDS_AsyncWaitSetCompletionToken *> list;
        change([&](auto &set) {
            for (void *block : set) list.push_back(static_cast<DDS_AsyncWaitSetCompletionToken *>(block));
        });
        return list;
    }

private:
    template <class Change>
    void change(Change what)
    {
        const std::lock_guard lock(_mutex);
        what(_tokens);
    }
    std::mutex _mutex;
    std::set<void *> _tokens;
};

/// The double of what makes the pool threads.
inline doubled::LocalDouble<void *(void *, const char *, const DDS_ThreadSettings_t *,
                                   DDS_ThreadFactory_OnSpawnedFunction, void *)>
    threadCreation("create_thread", {.failure = nullptr});

/// The default thread factory, whose threads can be refused.
inline DDS_ThreadFactory refusingFactory()
{
    static const DDS_ThreadFactory real =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    DDS_ThreadFactory factory = real;
    factory.create_thread = [](void *data, const char *name, const DDS_ThreadSettings_t *settings,
                               DDS_ThreadFactory_OnSpawnedFunction body, void *argument) -> void * {
        return threadCreation.callOr(real.create_thread, data, name, settings, body, argument);
    };
    return factory;
}

/// What one test lives through, again and again.
class LifecycleFault : public testing::Test {
protected:
    LifecycleFault()
    {
        static_cast<void>(DDS_AsyncWaitSetGlobals_getWorker(DDS_AsyncWaitSetGlobals_get_instance()));
        static_cast<void>(refusingFactory());
        blocks = ZYLOsapiHeap_getBlockCount();
        noteTokens();
        doubles.on(wait).forGood().before([this] { letGo(); });
    }

    /// New conditions, then the fault, then a wait set, which may be null. The nth call of the service fails, and with
    /// `isLasting` all later ones too; an empty name is no fault.
    void begin(DDS_UnsignedLong poolSize, const std::string &service = {}, int nth = 1, bool isLasting = false)
    {
        doubles.heal();
        for (std::optional<HandledGuard> &guard : guards) {
            guard.emplace([this](HandledGuard &) {
                handled.release();
                isHeld.wait(true);
            });
            EXPECT_NE(guard->guard(), nullptr);
        }
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        const DDS_AsyncWaitSetListener listener = recorder.listener();
        const DDS_ThreadFactory factory = refusingFactory();
        log.clear();
        doubles.clear();
        if (!service.empty()) plan(service, nth, isLasting);
        aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, &listener, &factory);
    }
    DDS_Condition *condition(int index) { return guard(index).condition(); }
    HandledGuard &guard(int index) { return guards[index].value(); }
    bool isAttached(int index) { return DDS_AsyncWaitSet_isHandlerAttached(aws, condition(index)) != 0; }
    bool isStarted() { return DDS_AsyncWaitSet_is_started(aws) != DDS_BOOLEAN_FALSE; }

    /// Trigger a condition and wait until its handler has run.
    void expectHandled(int index)
    {
        guard(index).trigger();
        handled.acquire();
    }
    /// Trigger a condition and wait until its handler runs. Its thread stays in it until the caller of an operation is
    /// about to sleep for a token: whatever the schedule, that operation finds its request undone.
    void hold(int index)
    {
        isHeld = true;
        expectHandled(index);
    }
    void letGo()
    {
        isHeld = false;
        isHeld.notify_all();
    }

    /// Let nothing fail any more, and let the pool stop and everything queued be finished.
    void settle()
    {
        doubles.heal();
        while (isStarted() || handoffRead(aws->_queuedRequestCount) != 0) {
            if (isStarted() && handoffRead(aws->_isStopInitiated) == 0) static_cast<void>(DDS_AsyncWaitSet_stop(aws));
            std::this_thread::yield();
        }
        // What took the last request out of the queue tells its token before it leaves the area.
        VESKWorker *const worker = DDS_AsyncWaitSetGlobals_getWorker(aws->_globals);
        EXPECT_NE(VESKWorker_enterExclusiveArea(worker, nullptr, aws->_criticalSectionEA), 0);
        EXPECT_NE(VESKWorker_leaveExclusiveArea(worker, nullptr, aws->_criticalSectionEA), 0);
    }
    /// The tokens that were lent and are not back.
    std::vector<DDS_AsyncWaitSetCompletionToken *> keptTokens()
    {
        std::vector<DDS_AsyncWaitSetCompletionToken *> kept = tokens.all();
        std::erase_if(kept, [this](DDS_AsyncWaitSetCompletionToken *token) {
            return VESKInlineList_isNodeInList(&aws->_completionTokenPool, &token->_loanedNode.node) != 0;
        });
        return kept;
    }
    /// Delete the wait set, whose pool has settled. With kept tokens this is refused; then they are taken away by force
    /// and it must succeed, without a message unless threads that rest at the barrier have to be let go. Nothing stays
    /// behind. Returns: the number of tokens that were kept.
    int end(bool isQuiet = true)
    {
        const std::vector<DDS_AsyncWaitSetCompletionToken *> kept = keptTokens();
        EXPECT_EQ(aws->_loanedCompletionTokenCount, static_cast<int>(kept.size()));
        if (!kept.empty()) {
            log.clear();
            EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_DELETE_s,
                       "AsyncWaitSet. There are alive completion tokens created from this object.");
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_finalize");
            EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, ZYL_LOG_DELETE_s), 1);
        }
        for (DDS_AsyncWaitSetCompletionToken *token : kept) {
            token->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
            EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
        }
        log.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_TRUE(!isQuiet || log.hasCount(0)) << log.print();
        aws = nullptr;
        expectNothingLeft();
        return static_cast<int>(kept.size());
    }
    void expectNothingLeft()
    {
        for (std::optional<HandledGuard> &guard : guards) {
            EXPECT_LE(guard.value().mostInside.load(), 1);
            guard.reset();
        }
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
        EXPECT_TRUE(tokens.all().empty());
    }

    static constexpr const char *heap = "ZYLOsapiHeap_reallocateMemoryInternal";
    static constexpr const char *wait = "ZYLOsapiSemaphore_take";

    size_t blocks = 0;
    std::optional<HandledGuard> guards[4];
    std::counting_semaphore<> handled{0};
    std::atomic<bool> isHeld = false;
    RecordingListener recorder;
    DDS_AsyncWaitSet *aws = nullptr;
    Tokens tokens;
    LogCapture log;
    Doubles doubles;

private:
    /// Keep the list of tokens, whichever thread makes and deletes them.
    void noteTokens()
    {
        doubles.on(heap)
            .with("DDS_SemaphoreAsyncWaitSetCompletionToken")
            .onEveryThread()
            .forGood()
            .after([this](void **block, size_t, int, int, int, const char *, ZYLOsapiAllocKind, const char *) {
                if (*block != nullptr) tokens.add(*block);
            });
        doubles.on("ZYLOsapiHeap_freeMemoryInternal")
            .unnoted()
            .onEveryThread()
            .forGood()
            .before([this](void *block, int, const char *, ZYLOsapiAllocKind, int) { tokens.remove(block); });
    }
    void plan(const std::string &service, int nth, bool isLasting)
    {
        DoubledService calls = doubles.on(service);
        // The name of a pool thread does not fail here: a start goes on without that thread and has no end.
        if (service == heap) {
            calls.when([](void **, size_t, int, int, int, const char *routine, ZYLOsapiAllocKind, const char *) {
                return std::strcmp(routine, "ZYLOsapiHeap_reallocateString") != 0;
            });
        }
        if (isLasting)
            calls.failFrom(nth);
        else
            calls.fail(nth);
    }
};

}  // namespace lifecycle

#endif
