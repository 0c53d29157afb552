/// @file
/// What the seam promises about waiting, on the operating system and on the simulated machine alike: mutex, condition
/// variable, parking, clock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>

#include "PlatformRun.hpp"
#include "PlatformScope.hpp"

namespace {

using platform::noDeadline_ns;

constexpr std::int64_t millisecond_ns = 1'000'000;

}  // namespace

TEST(PlatformMutex, one_thread_is_inside_at_a_time)
{
    onPlatform([] {
        Monitor monitor;
        int count = 0;
        std::atomic<int> inside = 0;
        const auto enterOften = [&] {
            for (int turn = 0; turn < 50; ++turn) {
                const platform::Lock lock(monitor.mutex);
                EXPECT_EQ(inside.fetch_add(1), 0);
                ++count;
                ZYLPlatform_yield();
                inside.fetch_sub(1);
            }
        };
        {
            TestThread a(enterOften);
            TestThread b(enterOften);
            TestThread c(enterOften);
        }
        EXPECT_EQ(count, 150);
    });
}

TEST(PlatformCondition, wake_all_wakes_every_waiter)
{
    onPlatform([] {
        Monitor monitor;
        int waiting = 0;
        int woken = 0;
        bool isOpen = false;
        const auto wait = [&] {
            const platform::Lock lock(monitor.mutex);
            ++waiting;
            ZYLPlatform_wakeAll(monitor.condition);
            while (!isOpen) ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, noDeadline_ns);
            ++woken;
        };
        TestThread a(wait);
        TestThread b(wait);
        TestThread c(wait);
        {
            const platform::Lock lock(monitor.mutex);
            while (waiting != 3) ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, noDeadline_ns);
            EXPECT_EQ(woken, 0);
            isOpen = true;
            ZYLPlatform_wakeAll(monitor.condition);
        }
        a.join();
        b.join();
        c.join();
        EXPECT_EQ(woken, 3);
    });
}

TEST(PlatformCondition, a_wait_ends_at_its_deadline)
{
    onPlatform([] {
        Monitor monitor;
        const platform::Lock lock(monitor.mutex);
        const std::int64_t deadline_ns = ZYLPlatform_now_ns() + 2 * millisecond_ns;
        while (ZYLPlatform_now_ns() < deadline_ns) {
            ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, deadline_ns);
        }
        EXPECT_GE(ZYLPlatform_now_ns(), deadline_ns);
    });
}

TEST(PlatformCondition, a_deadline_in_the_past_does_not_block)
{
    onPlatform([] {
        Monitor monitor;
        const platform::Lock lock(monitor.mutex);
        for (const std::int64_t deadline_ns : {INT64_MIN, std::int64_t{-1}, std::int64_t{0}, ZYLPlatform_now_ns()}) {
            ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, deadline_ns);
        }
        SUCCEED() << "blocking would be a dead-lock";
    });
}

TEST(PlatformCondition, the_mutex_is_free_during_the_wait_and_held_after_it)
{
    onPlatform([] {
        Monitor monitor;
        bool isAsked = false;
        int answer = 0;
        ZYLPlatform_lock(monitor.mutex);
        TestThread other([&] {
            const platform::Lock lock(monitor.mutex);
            isAsked = true;
            ZYLPlatform_wakeAll(monitor.condition);
            while (answer == 0) ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, noDeadline_ns);
            answer *= 2;
        });
        while (!isAsked) ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, noDeadline_ns);
        answer = 21;
        ZYLPlatform_wakeAll(monitor.condition);
        ZYLPlatform_yield();
        EXPECT_EQ(answer, 21) << "the other one needs the mutex, which is held";
        ZYLPlatform_unlock(monitor.mutex);
        other.join();
        EXPECT_EQ(answer, 42);
    });
}

TEST(PlatformParking, an_unpark_before_the_park_is_kept)
{
    onPlatform([] {
        ZYLPlatform_unpark(ZYLPlatform_currentParker());
        ZYLPlatform_park(noDeadline_ns, "a wake-up that has come");
        SUCCEED() << "a lost wake-up would be a dead-lock";
    });
}

TEST(PlatformParking, two_threads_hand_the_turn_to_each_other)
{
    onPlatform([] {
        constexpr int turns = 200;
        std::atomic<int> turn = 0;
        std::atomic<platform::Parker *> other = nullptr;
        platform::Parker *own = ZYLPlatform_currentParker();
        TestThread partner([&] {
            other = ZYLPlatform_currentParker();
            for (int mine = 1; mine < turns; mine += 2) {
                while (turn != mine) ZYLPlatform_park(noDeadline_ns, "the odd turn");
                turn = mine + 1;
                ZYLPlatform_unpark(own);
            }
        });
        while (other == nullptr) ZYLPlatform_yield();
        for (int mine = 0; mine < turns; mine += 2) {
            while (turn != mine) ZYLPlatform_park(noDeadline_ns, "the even turn");
            turn = mine + 1;
            ZYLPlatform_unpark(other);
        }
        partner.join();
        EXPECT_EQ(turn, turns);
    });
}

TEST(PlatformParking, a_park_ends_at_its_deadline)
{
    onPlatform([] {
        for (const std::int64_t deadline_ns : {INT64_MIN, std::int64_t{-1}, std::int64_t{0}, ZYLPlatform_now_ns()}) {
            ZYLPlatform_park(deadline_ns, "the past");
        }
        const std::int64_t deadline_ns = ZYLPlatform_now_ns() + 2 * millisecond_ns;
        while (ZYLPlatform_now_ns() < deadline_ns) ZYLPlatform_park(deadline_ns, "time");
        EXPECT_GE(ZYLPlatform_now_ns(), deadline_ns);
    });
}

TEST(PlatformParking, threads_that_live_at_the_same_time_have_parkers_of_their_own)
{
    onPlatform([] {
        platform::Parker *own = ZYLPlatform_currentParker();
        EXPECT_EQ(ZYLPlatform_currentParker(), own);
        platform::Parker *others[2] = {nullptr, nullptr};
        Monitor monitor;
        int count = 0;
        const auto note = [&](int index) {
            const platform::Lock lock(monitor.mutex);
            others[index] = ZYLPlatform_currentParker();
            ++count;
            ZYLPlatform_wakeAll(monitor.condition);
            while (count != 2) ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, noDeadline_ns);
        };
        {
            TestThread a([&] { note(0); });
            TestThread b([&] { note(1); });
        }
        EXPECT_NE(others[0], own);
        EXPECT_NE(others[1], own);
        EXPECT_NE(others[0], others[1]);
    });
}

TEST(PlatformParking, a_wake_up_that_comes_too_late_does_no_harm)
{
    onPlatform([] {
        platform::Parker *stale = nullptr;
        TestThread([&] { stale = ZYLPlatform_currentParker(); }).join();
        ZYLPlatform_unpark(stale);

        // Whoever got the parker since then still waits for what it waits for.
        std::atomic<bool> isOpen = false;
        std::atomic<platform::Parker *> parker = nullptr;
        std::atomic<bool> isThrough = false;
        TestThread next([&] {
            parker = ZYLPlatform_currentParker();
            while (!isOpen) ZYLPlatform_park(noDeadline_ns, "the opening");
            isThrough = true;
        });
        while (parker == nullptr) ZYLPlatform_yield();
        for (int turn = 0; turn < 10; ++turn) ZYLPlatform_unpark(stale);
        EXPECT_FALSE(isThrough);
        isOpen = true;
        ZYLPlatform_unpark(parker);
        next.join();
        EXPECT_TRUE(isThrough);
        ZYLPlatform_unpark(stale);
    });
}

TEST(PlatformClock, time_never_goes_back)
{
    onPlatform([] {
        std::int64_t before_ns = ZYLPlatform_now_ns();
        for (int turn = 0; turn < 1000; ++turn) {
            const std::int64_t now_ns = ZYLPlatform_now_ns();
            ASSERT_GE(now_ns, before_ns);
            before_ns = now_ns;
        }
        EXPECT_LT(before_ns, noDeadline_ns);
    });
}

TEST(PlatformClock, spinning_lets_the_others_run)
{
    onPlatform([] {
        std::atomic<int> step = 0;
        TestThread a([&] {
            while (step != 1) ZYLPlatform_yield();
            step = 2;
        });
        TestThread b([&] {
            while (step != 0) ZYLPlatform_pause();
            step = 1;
        });
        while (step != 2) ZYLPlatform_pause();
        EXPECT_EQ(step, 2);
    });
}
