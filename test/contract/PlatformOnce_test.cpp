/// @file
/// What the seam promises about first use, on the operating system and on the simulated machine alike.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "PlatformRun.hpp"
#include "PlatformScope.hpp"

namespace {

/// Something that is made once, in a way that the test chooses.
class Thing {
public:
    explicit Thing(std::function<bool()> make) : _make(std::move(make)) {}

    bool isMade()
    {
        return ZYLPlatform_makeOnce(
                   &_once, "thing", [](void *self) { return static_cast<Thing *>(self)->_make() ? 1 : 0; }, this) != 0;
    }

private:
    std::function<bool()> _make;
    ZYLPlatformOnce _once = {};
};

}  // namespace

TEST(PlatformOnce, the_first_caller_makes_it_and_all_see_it_made)
{
    onPlatform([] {
        int count = 0;  // Not atomic: whoever is told that it is made sees what its maker did.
        Thing thing([&] {
            ZYLPlatform_yield();
            ++count;
            ZYLPlatform_yield();
            return true;
        });
        const auto use = [&] {
            EXPECT_TRUE(thing.isMade());
            EXPECT_EQ(count, 1);
            EXPECT_TRUE(thing.isMade());
        };
        {
            TestThread a(use);
            TestThread b(use);
            TestThread c(use);
        }
        use();
    });
}

TEST(PlatformOnce, who_comes_while_it_is_being_made_waits_for_its_maker)
{
    onPlatform([] {
        std::atomic<bool> isBegun = false;
        std::atomic<bool> mayEnd = false;
        std::atomic<bool> isThrough = false;
        Thing thing([&] {
            isBegun = true;
            while (!mayEnd) ZYLPlatform_yield();
            return true;
        });
        TestThread maker([&] { EXPECT_TRUE(thing.isMade()); });
        while (!isBegun) ZYLPlatform_yield();
        TestThread other([&] {
            EXPECT_TRUE(thing.isMade());
            EXPECT_TRUE(mayEnd);
            isThrough = true;
        });
        for (int turn = 0; turn < 10; ++turn) ZYLPlatform_yield();
        EXPECT_FALSE(isThrough);
        mayEnd = true;
        maker.join();
        other.join();
        EXPECT_TRUE(isThrough);
    });
}

TEST(PlatformOnce, a_failure_is_the_failure_of_one_call_and_the_next_tries_again)
{
    onPlatform([] {
        int attempts = 0;
        Thing thing([&] { return ++attempts == 3; });
        EXPECT_FALSE(thing.isMade());
        EXPECT_FALSE(thing.isMade());
        EXPECT_TRUE(thing.isMade());
        EXPECT_TRUE(thing.isMade());
        EXPECT_EQ(attempts, 3);
    });
}

TEST(PlatformOnce, who_has_waited_for_a_maker_that_failed_tries_itself)
{
    onPlatform([] {
        int attempts = 0;
        std::atomic<int> failures = 0;
        Thing thing([&] {
            const bool isLast = ++attempts == 3;
            ZYLPlatform_yield();
            return isLast;
        });
        const auto use = [&] {
            if (!thing.isMade()) ++failures;
        };
        {
            TestThread a(use);
            TestThread b(use);
            TestThread c(use);
        }
        EXPECT_EQ(failures, 2);
        EXPECT_EQ(attempts, 3);
        EXPECT_TRUE(thing.isMade());
    });
}

TEST(PlatformOnce, what_is_made_may_need_something_else_that_is_made_once)
{
    onPlatform([] {
        int count = 0;
        Thing inner([&] {
            ZYLPlatform_yield();
            return ++count == 1;
        });
        Thing outer([&] { return inner.isMade(); });
        const auto use = [&] { EXPECT_TRUE(outer.isMade()); };
        TestThread a(use);
        TestThread b([&] { EXPECT_TRUE(inner.isMade()); });
        use();
        a.join();
        b.join();
        EXPECT_EQ(count, 1);
    });
}
