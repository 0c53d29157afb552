/// @file
/// Which events end a wait, and when: against a model, one thread and virtual time; and under every schedule, that
/// nothing is stranded and nothing reported that is not there.
#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "WaitSetFixture.hpp"
#include "halo_runtime/platform/sim/SimMachine.hpp"
#include "sim/SimScenario.hpp"

namespace {

constexpr int seeds = 500;
constexpr std::int64_t second_ns = 1'000'000'000;

/// Random numbers that follow from the seed of the run; `stream` tells threads apart.
class Choices {
public:
    explicit Choices(unsigned stream) : _random(static_cast<unsigned>(sim::machine.options.seed) * 16 + stream) {}
    int below(int limit) { return static_cast<int>(_random() % static_cast<unsigned>(limit)); }
    bool coin() { return below(2) != 0; }

private:
    std::mt19937 _random;
};

/// Guard conditions and one counting condition, the last.
struct SomeConditions {
    static constexpr int count = 4;
    Guard guards[count - 1];
    Counter counter;

    DDS_Condition *at(int i) { return i < count - 1 ? static_cast<DDS_Condition *>(guards[i]) : counter; }
    /// Trigger or count up.
    void raise(int i)
    {
        if (i < count - 1)
            guards[i].set(true);
        else
            counter.increment();
    }
    /// Clear or count down.
    void lower(int i)
    {
        if (i < count - 1)
            guards[i].set(false);
        else
            counter.decrement();
    }
};

// ---------------------------------------------------------------- the model

/// What the wait set should do, said as plainly as possible.
struct Model {
    enum class Mark { idle, fresh, due };
    struct One {
        bool isAttached = false;
        bool isMasked = false;
        int count = 0;  ///< 0 or 1 for a guard condition.
        Mark mark = Mark::idle;
        int events = 0;
        std::int64_t firstEvent_ns = 0;
    } ones[SomeConditions::count];
    int maxEventCount = 1;
    std::int64_t maxEventDelay_ns = platform::noDeadline_ns;

    static bool isGuard(int i) { return i < SomeConditions::count - 1; }
    void event(One &one, std::int64_t now_ns)
    {
        if (!one.isAttached || one.isMasked || one.mark == Mark::due) return;
        if (one.mark == Mark::idle) one.firstEvent_ns = now_ns;
        one.mark = Mark::fresh;
        one.events += 1;
    }
    static void withdraw(One &one)
    {
        one.mark = Mark::idle;
        one.events = 0;
    }
    void raise(int i, std::int64_t now_ns)
    {
        One &one = ones[i];
        if (isGuard(i) && one.count != 0) return;
        one.count += 1;
        event(one, now_ns);
    }
    void lower(int i)
    {
        One &one = ones[i];
        one.count = std::max(one.count - 1, 0);
        if (one.count == 0) withdraw(one);
    }
    void attach(int i, std::int64_t now_ns)
    {
        One &one = ones[i];
        if (one.isAttached) return;
        one.isAttached = true;
        one.isMasked = false;
        if (one.count != 0) event(one, now_ns);
    }
    void detach(int i)
    {
        ones[i].isAttached = false;
        withdraw(ones[i]);
    }
    void mask(int i, bool isMasked)
    {
        One &one = ones[i];
        if (!one.isAttached || one.isMasked == isMasked) return;
        one.isMasked = isMasked;
        if (isMasked)
            withdraw(one);
        else if (one.count != 0)
            one.mark = Mark::due;
    }
    std::int64_t delayEnd_ns() const
    {
        std::int64_t oldest_ns = platform::noDeadline_ns;
        for (const One &one : ones)
            if (one.mark == Mark::fresh) oldest_ns = std::min(oldest_ns, one.firstEvent_ns);
        if (oldest_ns == platform::noDeadline_ns || maxEventDelay_ns == platform::noDeadline_ns)
            return platform::noDeadline_ns;
        return oldest_ns + maxEventDelay_ns;
    }
    bool endsAtOnce() const
    {
        int events = 0;
        for (const One &one : ones) {
            if (one.mark == Mark::due) return true;
            events += one.events;
        }
        return events >= maxEventCount;
    }
    std::set<int> active() const
    {
        std::set<int> indices;
        for (int i = 0; i < SomeConditions::count; ++i)
            if (ones[i].mark != Mark::idle) indices.insert(i);
        return indices;
    }
    void report()
    {
        for (One &one : ones) {
            if (one.mark == Mark::idle) continue;
            one.mark = Mark::due;
            one.events = 0;
        }
    }
};

/// Applies each step to the wait set and to the model, and compares.
class Comparison {
public:
    Comparison() : _choices(0) {}

    void step()
    {
        const int i = _choices.below(SomeConditions::count);
        switch (_choices.below(10)) {
            case 0:
            case 1:
                _conditions.raise(i);
                return _model.raise(i, ZYLPlatform_now_ns());
            case 2:
                _conditions.lower(i);
                return _model.lower(i);
            case 3:
                return mask(i, _choices.coin());
            case 4:
                _waitSet.attach(_conditions.at(i));
                return _model.attach(i, ZYLPlatform_now_ns());
            case 5:
                if (_choices.below(3) != 0 || !_model.ones[i].isAttached) return;
                _waitSet.detach(_conditions.at(i));
                return _model.detach(i);
            case 6:
                return setProperty();
            case 7:
                return pass(1 + _choices.below(4));
            default:
                return wait();
        }
    }

private:
    void mask(int i, bool isMasked)
    {
        if (!_model.ones[i].isAttached) return;
        if (isMasked)
            _waitSet.mask(_conditions.at(i));
        else
            _waitSet.unmask(_conditions.at(i));
        _model.mask(i, isMasked);
    }
    void setProperty()
    {
        const int delay_sec = _choices.below(6);
        _model.maxEventCount = 1 + _choices.below(5);
        _model.maxEventDelay_ns = delay_sec == 5 ? platform::noDeadline_ns : delay_sec * second_ns;
        _waitSet.setProperty(_model.maxEventCount, delay_sec == 5 ? forever : DDS_Duration_t{delay_sec, 0});
    }
    void pass(DDS_Long seconds)
    {
        TestWaitSet nothing;
        Conditions active;
        const DDS_Duration_t duration = {seconds, 0};
        EXPECT_EQ(DDS_WaitSet_wait(nothing, &active, &duration), DDS_RETCODE_TIMEOUT);
    }
    void wait()
    {
        const std::set<int> expected = _model.active();
        const bool endsBySomething = _model.endsAtOnce() || _model.delayEnd_ns() != platform::noDeadline_ns;
        const int timeout_sec = _choices.below(endsBySomething ? 5 : 4);
        const DDS_Duration_t timeout = timeout_sec == 4 ? forever : DDS_Duration_t{timeout_sec, 0};
        const std::int64_t start_ns = ZYLPlatform_now_ns();
        const std::int64_t timeoutEnd_ns =
            timeout_sec == 4 ? platform::noDeadline_ns : start_ns + timeout_sec * second_ns;
        const std::int64_t end_ns =
            _model.endsAtOnce() ? start_ns : std::max(start_ns, std::min(timeoutEnd_ns, _model.delayEnd_ns()));

        Conditions active;
        const DDS_ReturnCode_t retCode = DDS_WaitSet_waitI(_waitSet, &active, &timeout);
        // Steps take virtual microseconds; everything that matters here takes seconds.
        EXPECT_NEAR(static_cast<double>(ZYLPlatform_now_ns() - start_ns), static_cast<double>(end_ns - start_ns),
                    0.1 * second_ns);
        EXPECT_EQ(retCode, expected.empty() ? DDS_RETCODE_TIMEOUT : DDS_RETCODE_OK);
        std::vector<DDS_Condition *> expectedList;
        expectedList.reserve(expected.size());
        for (const int i : expected) expectedList.push_back(_conditions.at(i));
        EXPECT_THAT(active.list(), testing::UnorderedElementsAreArray(expectedList));
        if (retCode != DDS_RETCODE_OK) return;
        _model.report();
        // Before the wait has ended, everything but another wait is allowed.
        if (_choices.coin()) {
            const int i = _choices.below(SomeConditions::count);
            _conditions.raise(i);
            _model.raise(i, ZYLPlatform_now_ns());
            mask(_choices.below(SomeConditions::count), _choices.coin());
        }
        DDS_WaitSet_end_waitI(_waitSet);
    }

    Choices _choices;
    SomeConditions _conditions;
    Model _model;
    TestWaitSet _waitSet;
};

TEST(WaitSetBatching, every_wait_ends_as_and_when_the_model_says)
{
    forEachSeed(seeds, [] {
        LogCapture log;
        Comparison comparison;
        for (int n = 0; n < 200 && !testing::Test::HasFailure(); ++n) comparison.step();
        EXPECT_NO_LOG(log);
    });
}

// ---------------------------------------------------------------- virtual time

TEST(WaitSetBatching, the_delay_is_measured_from_the_event_and_not_from_the_wait)
{
    forEachSeed(20, [] {
        Guard guard;
        TestWaitSet waitSet({5, oneHour});
        waitSet.attach(guard);
        const std::int64_t event_ns = ZYLPlatform_now_ns();
        guard.set(true);
        TestWaitSet nothing;
        Conditions active;
        const DDS_Duration_t halfAnHour = {1800, 0};
        EXPECT_EQ(DDS_WaitSet_wait(nothing, &active, &halfAnHour), DDS_RETCODE_TIMEOUT);
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &forever), DDS_RETCODE_OK);
        EXPECT_GE(ZYLPlatform_now_ns() - event_ns, 3600 * second_ns);
        EXPECT_LT(ZYLPlatform_now_ns() - event_ns, 3601 * second_ns);
    });
}

TEST(WaitSetBatching, an_event_that_is_withdrawn_takes_its_delay_along)
{
    forEachSeed(20, [] {
        Guard first;
        Guard second;
        TestWaitSet waitSet({5, oneHour});
        waitSet.attach(first);
        waitSet.attach(second);
        first.set(true);
        TestWaitSet nothing;
        Conditions active;
        const DDS_Duration_t halfAnHour = {1800, 0};
        EXPECT_EQ(DDS_WaitSet_wait(nothing, &active, &halfAnHour), DDS_RETCODE_TIMEOUT);
        const std::int64_t event_ns = ZYLPlatform_now_ns();
        second.set(true);
        first.set(false);
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &forever), DDS_RETCODE_OK);
        EXPECT_THAT(active.list(), areConditions(second));
        EXPECT_GE(ZYLPlatform_now_ns() - event_ns, 3600 * second_ns);
    });
}

// ---------------------------------------------------------------- schedules

/// What the changer that owns a condition knows of it at the end; triggers come from everybody.
struct Owned {
    bool isAttached = false;
    bool isMasked = false;
};

void changeAtRandom(unsigned self, SomeConditions &conditions, TestWaitSet &waitSet, Owned &owned)
{
    Choices choices(self);
    DDS_Condition *const own = conditions.at(static_cast<int>(self));
    for (int n = 0; n < 12; ++n) {
        const int any = choices.below(SomeConditions::count);
        switch (choices.below(7)) {
            case 0:
            case 1:
                conditions.raise(any);
                break;
            case 2:
                conditions.lower(any);
                break;
            case 3:
                waitSet.attach(own);
                if (!owned.isAttached) owned = {true, false};
                break;
            case 4:
                if (owned.isAttached) waitSet.detach(own);
                owned = {};
                break;
            case 5:
                if (!owned.isAttached) break;
                owned.isMasked = choices.coin();
                if (owned.isMasked)
                    waitSet.mask(own);
                else
                    waitSet.unmask(own);
                break;
            default:
                waitSet.setProperty(1 + choices.below(4), choices.coin() ? forever : oneMillisecond);
                break;
        }
    }
}

void waitAtRandom(TestWaitSet &waitSet, int waits)
{
    Choices choices(SomeConditions::count);
    Conditions active;
    for (int n = 0; n < waits; ++n) {
        const DDS_Duration_t timeout = {0, static_cast<DDS_UnsignedLong>(choices.below(50)) * 10'000U};
        const DDS_ReturnCode_t retCode = DDS_WaitSet_waitI(waitSet, &active, &timeout);
        const std::vector<DDS_Condition *> reported = active.list();
        EXPECT_EQ(std::set<DDS_Condition *>(reported.begin(), reported.end()).size(), reported.size());
        if (retCode == DDS_RETCODE_OK) {
            EXPECT_FALSE(reported.empty());
            DDS_WaitSet_end_waitI(waitSet);
        } else {
            EXPECT_EQ(retCode, DDS_RETCODE_TIMEOUT);
            EXPECT_TRUE(reported.empty());
        }
    }
}

void walk(TestWaitSet &waitSet, int walks)
{
    for (int n = 0; n < walks; ++n) {
        std::set<DDS_Condition *> seen;
        const int count = DDS_WaitSet_start_conditions_iteratorI(waitSet, 0);
        for (int i = 0; i < count; ++i) {
            seen.insert(DDS_WaitSet_get_next_conditionI(waitSet, 0));
            ZYLPlatform_yield();
        }
        EXPECT_EQ(DDS_WaitSet_get_next_conditionI(waitSet, 0), nullptr);
        DDS_WaitSet_end_conditions_iteratorI(waitSet);
        EXPECT_EQ(seen.size(), static_cast<std::size_t>(count));
        EXPECT_EQ(seen.count(nullptr), 0U);
    }
}

TEST(WaitSetBatching, when_all_is_quiet_the_next_wait_reports_exactly_what_is_active)
{
    forEachSeed(seeds, [] {
        LogCapture log;
        SomeConditions conditions;
        TestWaitSet waitSet({3, forever});
        Owned owned[SomeConditions::count];
        {
            std::vector<std::unique_ptr<SimThread>> threads;
            threads.push_back(std::make_unique<SimThread>("waiter", [&] { waitAtRandom(waitSet, 10); }));
            threads.push_back(std::make_unique<SimThread>("walker", [&] { walk(waitSet, 5); }));
            for (unsigned i = 0; i < SomeConditions::count; ++i)
                threads.push_back(std::make_unique<SimThread>(
                    "changer", [&, i] { changeAtRandom(i, conditions, waitSet, owned[i]); }));
        }
        std::vector<DDS_Condition *> expected;
        for (int i = 0; i < SomeConditions::count; ++i) {
            const bool isTriggered = DDS_Condition_get_trigger_value(conditions.at(i)) != DDS_BOOLEAN_FALSE;
            if (owned[i].isAttached && !owned[i].isMasked && isTriggered) expected.push_back(conditions.at(i));
        }
        EXPECT_EQ(waitSet.activeCount(), static_cast<int>(expected.size()));
        waitSet.setProperty(1, forever);
        for (int n = 0; n < 2; ++n) {
            Conditions active;
            EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, expected.empty() ? &noTime : &forever),
                      expected.empty() ? DDS_RETCODE_TIMEOUT : DDS_RETCODE_OK);
            EXPECT_THAT(active.list(), testing::UnorderedElementsAreArray(expected));
            EXPECT_EQ(waitSet.freshEvents(), 0);
        }
        EXPECT_NO_LOG(log);
    });
}

TEST(WaitSetBatching, a_blocked_wait_sees_every_way_of_becoming_active)
{
    forEachSeed(seeds, [] {
        Guard risen;
        Guard unmasked;
        Guard attached;
        Counter counted;
        TestWaitSet waitSet({4, forever});
        waitSet.attach(risen);
        waitSet.attach(unmasked);
        waitSet.attach(counted);
        waitSet.mask(unmasked);
        unmasked.set(true);
        attached.set(true);
        // Each of the four threads makes one event or one due condition; the wait without a time limit has to end
        // every time, and everything has to be reported in the end.
        std::set<DDS_Condition *> seen;
        SimThread waiter("waiter", [&] {
            while (seen.size() < 4) {
                Conditions active;
                ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &forever), DDS_RETCODE_OK);
                for (DDS_Condition *const condition : active.list()) seen.insert(condition);
                ZYLPlatform_yield();  // What was seen stays active, so that the next wait does not block.
            }
        });
        SimThread riser("riser", [&] { risen.set(true); });
        SimThread unmasker("unmasker", [&] { waitSet.unmask(unmasked); });
        SimThread attacher("attacher", [&] { waitSet.attach(attached); });
        SimThread counter("counter", [&] { counted.increment(); });
        waiter.join();
        EXPECT_EQ(seen.size(), 4U);
    });
}

TEST(WaitSetBatching, a_handler_is_never_seen_half_replaced)
{
    forEachSeed(seeds, [] {
        Guard guard;
        static int data[2];
        constexpr DDS_ConditionHandler_OnConditionTriggeredCallback callbacks[2] = {
            [](void *, DDS_Condition *) { data[0] += 1; }, [](void *, DDS_Condition *) { data[1] += 1; }};
        const DDS_ConditionHandler handlers[2] = {{&data[0], callbacks[0]}, {&data[1], callbacks[1]}};
        ASSERT_EQ(DDS_Condition_set_handler(guard, &handlers[0]), DDS_RETCODE_OK);
        SimThread writer("writer", [&] {
            for (int n = 1; n < 8; ++n) EXPECT_EQ(DDS_Condition_set_handler(guard, &handlers[n % 2]), DDS_RETCODE_OK);
        });
        for (int n = 0; n < 8; ++n) {
            const DDS_ConditionHandler seen = DDS_Condition_get_handler(guard);
            const int which = seen.handler_data == &data[1] ? 1 : 0;
            EXPECT_EQ(seen.on_condition_triggered, callbacks[which]);
        }
        writer.join();
    });
}

}  // namespace
