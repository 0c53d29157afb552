/// @file
/// A wait set's whole life on real threads, with services that fail on the application thread: the replacements, and
/// what the tests know of the tokens. Include it in one file only.
///
/// Protection: faults and calls belong to the test's own thread; the list of tokens has a mutex.
#ifndef LIFECYCLE_FIXTURE_HPP
#define LIFECYCLE_FIXTURE_HPP

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <optional>
#include <semaphore>
#include <set>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "ServiceCalls.hpp"
#include "dds_c/dds_c_log.h"
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
inline Tokens tokens;

}  // namespace lifecycle

extern "C" {

int __real_ZYLOsapiHeap_reallocateMemoryInternal(void **block, size_t size, int alignment, int reallocate, int flag,
                                                 const char *routine, ZYLOsapiAllocKind kind, const char *typeName);
/// The name of a pool thread does not fail here: a start goes on without that thread and has no end.
int __wrap_ZYLOsapiHeap_reallocateMemoryInternal(void **block, size_t size, int alignment, int reallocate, int flag,
                                                 const char *routine, ZYLOsapiAllocKind kind, const char *typeName)
{
    if (std::strcmp(routine, "ZYLOsapiHeap_reallocateString") != 0 && ServiceCalls::fails("heap")) return 0;
    const int result =
        __real_ZYLOsapiHeap_reallocateMemoryInternal(block, size, alignment, reallocate, flag, routine, kind, typeName);
    if (result != 0 && std::strcmp(typeName, "DDS_SemaphoreAsyncWaitSetCompletionToken") == 0)
        lifecycle::tokens.add(*block);
    return result;
}
void __real_ZYLOsapiHeap_freeMemoryInternal(void *block, int flag, const char *routine, ZYLOsapiAllocKind kind,
                                            int size);
void __wrap_ZYLOsapiHeap_freeMemoryInternal(void *block, int flag, const char *routine, ZYLOsapiAllocKind kind,
                                            int size)
{
    lifecycle::tokens.remove(block);
    __real_ZYLOsapiHeap_freeMemoryInternal(block, flag, routine, kind, size);
}

int __real_VESKWorker_enterExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area);
int __wrap_VESKWorker_enterExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
{
    return ServiceCalls::fails("enter") ? 0 : __real_VESKWorker_enterExclusiveArea(self, previousOut, area);
}
int __real_VESKWorker_leaveExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area);
/// A failing leave leaves the area and says that it did not.
int __wrap_VESKWorker_leaveExclusiveArea(VESKWorker *self, void *previousOut, VESKExclusiveArea *area)
{
    const bool isFailing = ServiceCalls::fails("leave");
    const int result = __real_VESKWorker_leaveExclusiveArea(self, previousOut, area);
    return isFailing ? 0 : result;
}

#define LIFECYCLE_REPLACE(service_, parameters_, arguments_)                     \
    DDS_ReturnCode_t __real_##service_ parameters_;                              \
    DDS_ReturnCode_t __wrap_##service_ parameters_                               \
    {                                                                            \
        if (ServiceCalls::fails(#service_)) return DDS_RETCODE_OUT_OF_RESOURCES; \
        return __real_##service_ arguments_;                                     \
    }                                                                            \
    static_assert(true, "")

LIFECYCLE_REPLACE(DDS_WaitSet_set_property, (DDS_WaitSet * self, const DDS_WaitSetProperty_t *property),
                  (self, property));
LIFECYCLE_REPLACE(DDS_WaitSet_attach_condition, (DDS_WaitSet * self, DDS_Condition *condition), (self, condition));
LIFECYCLE_REPLACE(DDS_WaitSet_detach_condition, (DDS_WaitSet * self, DDS_Condition *condition), (self, condition));
LIFECYCLE_REPLACE(DDS_WaitSet_mask_condition, (DDS_WaitSet * self, DDS_Condition *condition, DDS_Boolean takesPart),
                  (self, condition, takesPart));
LIFECYCLE_REPLACE(DDS_CountingCondition_increment, (DDS_CountingCondition * self, DDS_Long amount), (self, amount));
LIFECYCLE_REPLACE(DDS_CountingCondition_decrement, (DDS_CountingCondition * self, DDS_Long amount), (self, amount));

#define LIFECYCLE_REPLACE_SEMAPHORE(service_, parameters_, arguments_)               \
    int __real_##service_ parameters_;                                               \
    int __wrap_##service_ parameters_                                                \
    {                                                                                \
        if (ServiceCalls::fails(#service_)) return ZYL_OSAPI_SEMAPHORE_STATUS_ERROR; \
        return __real_##service_ arguments_;                                         \
    }                                                                                \
    static_assert(true, "")

LIFECYCLE_REPLACE_SEMAPHORE(ZYLOsapiSemaphore_take, (ZYLOsapiSemaphore * self, const ZYLNtpTime *timeout),
                            (self, timeout));
LIFECYCLE_REPLACE_SEMAPHORE(ZYLOsapiSemaphore_give, (ZYLOsapiSemaphore * self), (self));
LIFECYCLE_REPLACE_SEMAPHORE(ZYLOsapiSemaphore_drain, (ZYLOsapiSemaphore * self), (self));

#undef LIFECYCLE_REPLACE
#undef LIFECYCLE_REPLACE_SEMAPHORE

}  // extern "C"

namespace lifecycle {

/// The default thread factory, whose threads can be refused.
inline DDS_ThreadFactory refusingFactory()
{
    static const DDS_ThreadFactory real =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    DDS_ThreadFactory factory = real;
    factory.create_thread = [](void *data, const char *name, const DDS_ThreadSettings_t *settings,
                               DDS_ThreadFactory_OnSpawnedFunction body, void *argument) -> void * {
        return ServiceCalls::fails("create_thread") ? nullptr
                                                    : real.create_thread(data, name, settings, body, argument);
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
    }

    /// New conditions, then the fault, then a wait set, which may be null. The nth call of the service fails, and with
    /// `isLasting` all later ones too; an empty name is no fault.
    void begin(DDS_UnsignedLong poolSize, const std::string &service = {}, int nth = 1, bool isLasting = false)
    {
        for (std::optional<HandledGuard> &guard : guards) guard.emplace([this](HandledGuard &) { handled.release(); });
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        const DDS_AsyncWaitSetListener listener = recorder.listener();
        const DDS_ThreadFactory factory = refusingFactory();
        log.clear();
        calls.clear();
        if (isLasting)
            calls.failFrom(service, nth);
        else if (!service.empty())
            calls.fail(service, nth);
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

    /// Let nothing fail any more, and let the pool stop and everything queued be finished.
    void settle()
    {
        calls.heal();
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

    size_t blocks = 0;
    std::optional<HandledGuard> guards[4];
    std::counting_semaphore<> handled{0};
    RecordingListener recorder;
    DDS_AsyncWaitSet *aws = nullptr;
    LogCapture log;
    ServiceCalls calls;
};

}  // namespace lifecycle

#endif
