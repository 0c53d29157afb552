/// @file
/// What several threads may rely on: semaphore, barrier, notice, exclusive area.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "PlatformRun.hpp"
#include "SleepWatch.hpp"
#include "halo_runtime/platform/Platform.hpp"
#include "halo_runtime/vesk/VESKExclusiveArea.hpp"
#include "halo_runtime/zyl/ZYLOsapiBarrier.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiNotice.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

namespace {

/// Threads for a scope; the end of the scope joins them.
class Threads {
public:
    Threads() = default;
    ~Threads() { join(); }
    Threads(const Threads &) = delete;
    Threads &operator=(const Threads &) = delete;

    void start(std::function<void()> body)
    {
        _bodies.push_back(std::make_unique<std::function<void()>>(std::move(body)));
        const auto run = [](void *argument) -> void * {
            (*static_cast<std::function<void()> *>(argument))();
            return nullptr;
        };
        _threads.push_back(ZYLPlatform_createThread({}, run, _bodies.back().get(), nullptr));
        EXPECT_NE(nullptr, _threads.back());
    }
    void join()
    {
        for (platform::Thread *thread : _threads) ZYLPlatform_joinThread(thread);
        _threads.clear();
    }

private:
    std::vector<std::unique_ptr<std::function<void()>>> _bodies;
    std::vector<platform::Thread *> _threads;
};

template <class Condition>
void waitUntil(Condition isTrue)
{
    while (!isTrue()) ZYLPlatform_yield();
}

constexpr int OK = ZYL_OSAPI_SEMAPHORE_STATUS_OK;
constexpr int ERROR = ZYL_OSAPI_SEMAPHORE_STATUS_ERROR;
constexpr int TIMEOUT = ZYL_OSAPI_SEMAPHORE_STATUS_TIMEOUT;
constexpr ZYLNtpTime zero = {0, 0};
constexpr ZYLNtpTime millisecond = {0, 4294968};
constexpr ZYLNtpTime minutes = {600, 0};
constexpr ZYLNtpTime infinite = {0x7fffffff, 0xffffffff};

VESKWorkerPerThread registry = {};

VESKWorker *worker()
{
    EXPECT_NE(0, VESKWorkerPerThread_initialize(&registry));
    return VESKWorkerPerThread_getWorker(&registry);
}
void enter(VESKExclusiveArea *area) ZYL_NOT_ANALYZED
{
    ASSERT_NE(0, VESKWorker_enterExclusiveArea(worker(), nullptr, area));
}
void leave(VESKExclusiveArea *area) ZYL_NOT_ANALYZED
{
    ASSERT_NE(0, VESKWorker_leaveExclusiveArea(worker(), nullptr, area));
}
VESKExclusiveArea *newArea()
{
    worker();
    return VESKWorkerFactory_createExclusiveAreaEx(registry._workerFactory, 1, "tested area");
}
void destroy(VESKExclusiveArea *area)
{
    VESKWorkerFactory_destroyExclusiveArea(registry._workerFactory, area);
}

}  // namespace

TEST(Semaphore, is_taken_as_often_as_it_was_given)
{
    onPlatform([] {
        ZYLOsapiSemaphore *semaphore = ZYLOsapiSemaphore_new("semaphore");
        ASSERT_NE(nullptr, semaphore);
        EXPECT_EQ(TIMEOUT, ZYLOsapiSemaphore_take(semaphore, &zero));
        EXPECT_EQ(OK, ZYLOsapiSemaphore_give(semaphore));
        EXPECT_EQ(OK, ZYLOsapiSemaphore_give(semaphore));
        EXPECT_EQ(OK, ZYLOsapiSemaphore_take(semaphore, &zero));
        EXPECT_EQ(OK, ZYLOsapiSemaphore_take(semaphore, nullptr));
        EXPECT_EQ(TIMEOUT, ZYLOsapiSemaphore_take(semaphore, &zero));
        ZYLOsapiSemaphore_delete(semaphore);
    });
}

TEST(Semaphore, drained_is_empty)
{
    onPlatform([] {
        ZYLOsapiSemaphore *semaphore = ZYLOsapiSemaphore_new("semaphore");
        for (int i = 0; i < 3; ++i) EXPECT_EQ(OK, ZYLOsapiSemaphore_give(semaphore));
        EXPECT_EQ(OK, ZYLOsapiSemaphore_drain(semaphore));
        EXPECT_EQ(TIMEOUT, ZYLOsapiSemaphore_take(semaphore, &zero));
        ZYLOsapiSemaphore_delete(semaphore);
    });
}

TEST(Semaphore, a_take_ends_when_its_time_has_passed)
{
    onPlatform([] {
        ZYLOsapiSemaphore *semaphore = ZYLOsapiSemaphore_new("semaphore");
        const std::int64_t before_ns = ZYLPlatform_now_ns();
        EXPECT_EQ(TIMEOUT, ZYLOsapiSemaphore_take(semaphore, &millisecond));
        EXPECT_GE(ZYLPlatform_now_ns() - before_ns, 1'000'000);
        const ZYLNtpTime negative = {-5, 0};
        EXPECT_EQ(TIMEOUT, ZYLOsapiSemaphore_take(semaphore, &negative));
        ZYLOsapiSemaphore_delete(semaphore);
    });
}

TEST(Semaphore, null_is_an_error)
{
    EXPECT_EQ(ERROR, ZYLOsapiSemaphore_give(nullptr));
    EXPECT_EQ(ERROR, ZYLOsapiSemaphore_take(nullptr, &zero));
    EXPECT_EQ(ERROR, ZYLOsapiSemaphore_drain(nullptr));
    ZYLOsapiSemaphore_delete(nullptr);
}

TEST(Semaphore, every_taker_that_sleeps_is_woken_by_a_give)
{
    onPlatform([] {
        ZYLOsapiSemaphore *semaphore = ZYLOsapiSemaphore_new("semaphore");
        std::atomic<int> takenCount{0};
        Threads threads;
        for (const ZYLNtpTime *timeout : {static_cast<const ZYLNtpTime *>(nullptr), &infinite, &minutes}) {
            threads.start([&takenCount, semaphore, timeout] {
                for (int i = 0; i < 10; ++i) {
                    // In the simulation ten minutes can pass at any time.
                    while (ZYLOsapiSemaphore_take(semaphore, timeout) == TIMEOUT) EXPECT_EQ(&minutes, timeout);
                    ++takenCount;
                }
            });
        }
        for (int i = 0; i < 30; ++i) EXPECT_EQ(OK, ZYLOsapiSemaphore_give(semaphore));
        threads.join();
        EXPECT_EQ(30, takenCount);
        EXPECT_EQ(TIMEOUT, ZYLOsapiSemaphore_take(semaphore, &zero));
        ZYLOsapiSemaphore_delete(semaphore);
    });
}

TEST(Semaphore, whoever_took_may_delete_it)
{
    onPlatform([] {
        for (int round = 0; round < 20; ++round) {
            ZYLOsapiSemaphore *semaphore = ZYLOsapiSemaphore_new("semaphore");
            Threads threads;
            threads.start([semaphore] { EXPECT_EQ(OK, ZYLOsapiSemaphore_give(semaphore)); });
            EXPECT_EQ(OK, ZYLOsapiSemaphore_take(semaphore, nullptr));
            ZYLOsapiSemaphore_delete(semaphore);
        }
    });
}

TEST(Barrier, needs_a_party)
{
    EXPECT_EQ(nullptr, ZYLOsapiBarrier_new(0));
    EXPECT_EQ(ERROR, ZYLOsapiBarrier_wait(nullptr));
    ZYLOsapiBarrier_abort(nullptr);
    ZYLOsapiBarrier_reset(nullptr);
    ZYLOsapiBarrier_delete(nullptr);
}

TEST(Barrier, of_one_party_lets_it_through)
{
    onPlatform([] {
        ZYLOsapiBarrier *barrier = ZYLOsapiBarrier_new(1);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(OK, ZYLOsapiBarrier_wait(barrier));
        ZYLOsapiBarrier_delete(barrier);
    });
}

TEST(Barrier, nobody_leaves_a_cycle_before_all_have_arrived_in_it)
{
    onPlatform([] {
        constexpr int parties = 4;
        constexpr int cycles = 12;
        ZYLOsapiBarrier *barrier = ZYLOsapiBarrier_new(parties);
        std::atomic<int> arrived[cycles] = {};
        {
            Threads threads;
            for (int party = 0; party < parties; ++party) {
                threads.start([&] {
                    for (std::atomic<int> &count : arrived) {
                        ++count;
                        EXPECT_EQ(OK, ZYLOsapiBarrier_wait(barrier));
                        EXPECT_EQ(parties, count);
                    }
                });
            }
        }
        ZYLOsapiBarrier_delete(barrier);
    });
}

TEST(Barrier, an_abort_releases_those_who_wait_and_those_who_come_later)
{
    onPlatform([] {
        ZYLOsapiBarrier *barrier = ZYLOsapiBarrier_new(4);
        {
            Threads threads;
            for (int i = 0; i < 3; ++i) threads.start([&] { EXPECT_EQ(ERROR, ZYLOsapiBarrier_wait(barrier)); });
            ZYLOsapiBarrier_abort(barrier);
        }
        EXPECT_EQ(ERROR, ZYLOsapiBarrier_wait(barrier));
        EXPECT_EQ(ERROR, ZYLOsapiBarrier_wait(barrier));
        ZYLOsapiBarrier_delete(barrier);
    });
}

TEST(Barrier, a_reset_ends_the_abort_and_forgets_who_had_arrived)
{
    onPlatform([] {
        ZYLOsapiBarrier *barrier = ZYLOsapiBarrier_new(3);
        {
            Threads threads;
            for (int i = 0; i < 2; ++i) threads.start([&] { EXPECT_EQ(ERROR, ZYLOsapiBarrier_wait(barrier)); });
            ZYLOsapiBarrier_abort(barrier);
        }
        ZYLOsapiBarrier_reset(barrier);
        std::atomic<int> arrived{0};
        {
            Threads threads;
            for (int i = 0; i < 3; ++i) {
                threads.start([&] {
                    ++arrived;
                    EXPECT_EQ(OK, ZYLOsapiBarrier_wait(barrier));
                    EXPECT_EQ(3, arrived);
                });
            }
        }
        ZYLOsapiBarrier_delete(barrier);
    });
}

TEST(Barrier, a_cycle_that_was_complete_before_the_abort_is_complete_for_all)
{
    onPlatform([] {
        for (int round = 0; round < 10; ++round) {
            ZYLOsapiBarrier *barrier = ZYLOsapiBarrier_new(3);
            {
                Threads threads;
                for (int i = 0; i < 2; ++i) threads.start([&] { EXPECT_EQ(OK, ZYLOsapiBarrier_wait(barrier)); });
                EXPECT_EQ(OK, ZYLOsapiBarrier_wait(barrier));
                ZYLOsapiBarrier_abort(barrier);
            }
            ZYLOsapiBarrier_delete(barrier);
        }
    });
}

TEST(Notice, tells_the_waiter_what_came_before_it_and_may_then_be_gone)
{
    onPlatform([] {
        for (int round = 0; round < 20; ++round) {
            int news = 0;
            Threads threads;
            {
                ZYLOsapiNotice notice;
                ZYLOsapiNotice_initialize(&notice);
                threads.start([&news, &notice] {
                    news = 1;
                    ZYLOsapiNotice_raise(&notice);
                });
                ZYLOsapiNotice_wait(&notice, "news");
                EXPECT_EQ(1, news);
                notice._waiter = nullptr;  // The raiser reads nothing of it any more.
                notice._isRaised = 0;
            }
        }
    });
}

TEST(Notice, raised_before_the_wait_does_not_block)
{
    onPlatform([] {
        ZYLOsapiNotice notice;
        ZYLOsapiNotice_initialize(&notice);
        ZYLOsapiNotice_raise(&notice);
        ZYLOsapiNotice_wait(&notice, "nothing");
        EXPECT_EQ(1, notice._isRaised);
    });
}

TEST(Notice, a_wake_up_for_something_else_does_not_end_the_wait)
{
    onPlatform([] {
        ZYLOsapiNotice notice;
        ZYLOsapiNotice_initialize(&notice);
        ZYLPlatform_unpark(ZYLPlatform_currentParker());
        std::atomic<bool> isRaised{false};
        Threads threads;
        threads.start([&] {
            isRaised = true;
            ZYLOsapiNotice_raise(&notice);
        });
        ZYLOsapiNotice_wait(&notice, "notice");
        EXPECT_TRUE(isRaised);
    });
}

TEST(ExclusiveAreaOfThreads, is_held_by_one_at_a_time_through_all_re_entries)
{
    onPlatform([] {
        VESKExclusiveArea *area = newArea();
        ASSERT_NE(nullptr, area);
        constexpr int threadCount = 4;
        constexpr int rounds = 15;
        int plainCount = 0;  // Not atomic: the area is what protects it.
        {
            Threads threads;
            for (int i = 0; i < threadCount; ++i) {
                threads.start([&] {
                    for (int round = 0; round < rounds; ++round) {
                        enter(area);
                        const int before = plainCount;
                        ZYLPlatform_yield();
                        enter(area);
                        plainCount = before + 1;
                        leave(area);
                        ZYLPlatform_yield();
                        EXPECT_EQ(before + 1, plainCount);
                        leave(area);
                    }
                });
            }
        }
        EXPECT_EQ(threadCount * rounds, plainCount);
        EXPECT_EQ(0u, area->_state);
        destroy(area);
    });
}

TEST(ExclusiveAreaOfThreads, loses_no_wake_up_under_short_critical_sections)
{
    onPlatform([] {
        VESKExclusiveArea *area = newArea();
        long plainCount = 0;
        constexpr int rounds = 60;
        {
            Threads threads;
            for (int i = 0; i < 3; ++i) {
                threads.start([&] {
                    for (int round = 0; round < rounds; ++round) {
                        enter(area);
                        ++plainCount;
                        leave(area);
                    }
                });
            }
        }
        EXPECT_EQ(3 * rounds, plainCount);
        EXPECT_EQ(0u, area->_state);
        destroy(area);
    });
}

TEST(ExclusiveAreaOfThreads, a_leave_wakes_one_waiter_and_none_while_that_one_has_not_got_it)
{
    onPlatform([] {
        VESKExclusiveArea *area = newArea();
        SleepWatch sleep;
        sleep.keepAsleep();
        enter(area);
        std::atomic<int> entryCount{0};
        Threads threads;
        for (int i = 0; i < 3; ++i) {
            threads.start([&] {
                enter(area);
                ++entryCount;
                leave(area);
            });
        }
        waitUntil([&] { return sleep.keptCount() == 3; });

        leave(area);
        EXPECT_EQ(1, sleep.wakeCount());
        for (int i = 0; i < 5; ++i) {  // Comers do not wait for the woken one, and wake nobody else.
            enter(area);
            leave(area);
        }
        EXPECT_EQ(1, sleep.wakeCount());
        EXPECT_EQ(0, entryCount);

        sleep.letWake();
        threads.join();
        EXPECT_EQ(3, entryCount);
        EXPECT_EQ(3, sleep.wakeCount());
        destroy(area);
    });
}

TEST(ExclusiveAreaOfThreads, a_leave_without_waiters_wakes_nobody)
{
    onPlatform([] {
        VESKExclusiveArea *area = newArea();
        const SleepWatch sleep;
        for (int i = 0; i < 5; ++i) {
            enter(area);
            leave(area);
        }
        EXPECT_EQ(0, sleep.wakeCount());
        destroy(area);
    });
}

TEST(ExclusiveAreaOfThreads, the_next_holder_may_destroy_it)
{
    onPlatform([] {
        for (int round = 0; round < 10; ++round) {
            VESKExclusiveArea *area = newArea();
            std::atomic<bool> isHeld{false};
            Threads threads;
            threads.start([&isHeld, area] {
                enter(area);
                isHeld = true;
                ZYLPlatform_yield();
                leave(area);
            });
            waitUntil([&] { return isHeld.load(); });
            enter(area);
            leave(area);
            destroy(area);
        }
    });
}
