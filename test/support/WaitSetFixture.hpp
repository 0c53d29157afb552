/// @file
/// What tests of the plain wait set share: a wait set with conditions, a thread that waits, a look inside.
#ifndef WAIT_SET_FIXTURE_HPP
#define WAIT_SET_FIXTURE_HPP

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "LogCapture.hpp"
#include "halo_runtime/dds/DDS_WaitSet.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

constexpr DDS_Duration_t noTime = {0, 0};
constexpr DDS_Duration_t forever = {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC};
constexpr DDS_Duration_t oneMillisecond = {0, 1'000'000};
constexpr DDS_Duration_t oneHour = {3600, 0};

/// A guard condition for a scope.
class Guard {
public:
    Guard() : _guard(DDS_GuardCondition_new()) { EXPECT_NE(_guard, nullptr); }
    ~Guard() { EXPECT_EQ(DDS_GuardCondition_delete(_guard), DDS_RETCODE_OK); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

    void set(bool value)
    {
        EXPECT_EQ(DDS_GuardCondition_set_trigger_value(_guard, value ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }
    operator DDS_GuardCondition *() const { return _guard; }
    operator DDS_Condition *() const { return DDS_GuardCondition_as_condition(_guard); }

private:
    DDS_GuardCondition *_guard;
};

/// A counting condition for a scope.
class Counter {
public:
    Counter() : _counter(DDS_CountingCondition_new()) { EXPECT_NE(_counter, nullptr); }
    ~Counter() { EXPECT_EQ(DDS_CountingCondition_delete(_counter), DDS_RETCODE_OK); }
    Counter(const Counter &) = delete;
    Counter &operator=(const Counter &) = delete;

    void increment(DDS_Long amount = 1)
    {
        EXPECT_EQ(DDS_CountingCondition_increment(_counter, amount), DDS_RETCODE_OK);
    }
    void decrement(DDS_Long amount = 1)
    {
        EXPECT_EQ(DDS_CountingCondition_decrement(_counter, amount), DDS_RETCODE_OK);
    }
    operator DDS_CountingCondition *() const { return _counter; }
    operator DDS_Condition *() const { return DDS_CountingCondition_as_condition(_counter); }

private:
    DDS_CountingCondition *_counter;
};

/// A wait set for a scope. Make it after its conditions: it detaches them when it goes.
class TestWaitSet {
public:
    explicit TestWaitSet(const DDS_WaitSetProperty_t &property = DDS_WAITSET_PROPERTY_DEFAULT)
        : _waitSet(DDS_WaitSet_new_with_property(&property))
    {
        EXPECT_NE(_waitSet, nullptr);
    }
    ~TestWaitSet() { EXPECT_EQ(DDS_WaitSet_delete(_waitSet), DDS_RETCODE_OK); }
    TestWaitSet(const TestWaitSet &) = delete;
    TestWaitSet &operator=(const TestWaitSet &) = delete;

    void attach(DDS_Condition *condition)
    {
        EXPECT_EQ(DDS_WaitSet_attach_condition(_waitSet, condition), DDS_RETCODE_OK);
    }
    void detach(DDS_Condition *condition)
    {
        EXPECT_EQ(DDS_WaitSet_detach_condition(_waitSet, condition), DDS_RETCODE_OK);
    }
    void mask(DDS_Condition *condition)
    {
        EXPECT_EQ(DDS_WaitSet_mask_condition(_waitSet, condition, DDS_BOOLEAN_FALSE), DDS_RETCODE_OK);
    }
    void unmask(DDS_Condition *condition)
    {
        EXPECT_EQ(DDS_WaitSet_mask_condition(_waitSet, condition, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    }
    void setProperty(DDS_Long maxEventCount, DDS_Duration_t maxEventDelay)
    {
        const DDS_WaitSetProperty_t property = {maxEventCount, maxEventDelay};
        EXPECT_EQ(DDS_WaitSet_set_property(_waitSet, &property), DDS_RETCODE_OK);
    }

    // A look inside.

    /// Whether a thread sleeps in a wait and nobody has taken it to wake it.
    bool hasSleeper() const
    {
        const platform::Lock lock(_waitSet->_eventMutex);
        return _waitSet->_sleeper != nullptr;
    }
    void awaitSleeper() const
    {
        while (!hasSleeper()) ZYLPlatform_yield();
    }
    /// Events of the fresh conditions.
    std::int64_t freshEvents() const
    {
        const platform::Lock lock(_waitSet->_eventMutex);
        return _waitSet->_freshEvents;
    }
    /// How many conditions are fresh or due.
    int activeCount() const
    {
        const platform::Lock lock(_waitSet->_eventMutex);
        return _waitSet->_active._size;
    }

    operator DDS_WaitSet *() const { return _waitSet; }
    DDS_WaitSet *operator->() const { return _waitSet; }

private:
    DDS_WaitSet *_waitSet;
};

/// A sequence of conditions for a scope.
class Conditions {
public:
    Conditions() = default;
    ~Conditions() { EXPECT_NE(DDS_ConditionSeq_finalize(&_sequence), DDS_BOOLEAN_FALSE); }
    Conditions(const Conditions &) = delete;
    Conditions &operator=(const Conditions &) = delete;

    DDS_ConditionSeq *operator&() { return &_sequence; }
    DDS_ConditionSeq *operator->() { return &_sequence; }
    std::vector<DDS_Condition *> list()
    {
        std::vector<DDS_Condition *> conditions;
        for (DDS_Long i = 0; i < DDS_ConditionSeq_get_length(&_sequence); ++i)
            conditions.push_back(DDS_ConditionSeq_get(&_sequence, i));
        return conditions;
    }

private:
    DDS_ConditionSeq _sequence = DDS_SEQUENCE_INITIALIZER;
};

/// A thread that waits once.
class WaitingThread {
public:
    explicit WaitingThread(DDS_WaitSet *waitSet, DDS_Duration_t timeout = forever)
        : _waitSet(waitSet), _timeout(timeout)
    {
        const auto run = [](void *argument) -> void * {
            auto *const self = static_cast<WaitingThread *>(argument);
            self->_retCode = DDS_WaitSet_wait(self->_waitSet, &self->_active, &self->_timeout);
            self->_endTime_ns = ZYLPlatform_now_ns();
            return nullptr;
        };
        _thread = ZYLPlatform_createThread({}, run, this, nullptr);
        EXPECT_NE(_thread, nullptr);
    }
    ~WaitingThread() { join(); }
    WaitingThread(const WaitingThread &) = delete;
    WaitingThread &operator=(const WaitingThread &) = delete;

    /// What the wait returned.
    DDS_ReturnCode_t join()
    {
        if (_thread != nullptr) ZYLPlatform_joinThread(_thread);
        _thread = nullptr;
        return _retCode;
    }
    /// After join: what it reported.
    std::vector<DDS_Condition *> reported() { return _active.list(); }
    /// After join: when it returned.
    std::int64_t endTime_ns() const { return _endTime_ns; }

private:
    DDS_WaitSet *_waitSet;
    DDS_Duration_t _timeout;
    Conditions _active;
    DDS_ReturnCode_t _retCode = DDS_RETCODE_ERROR;
    std::int64_t _endTime_ns = 0;
    platform::Thread *_thread = nullptr;
};

/// A wait that does not block, and what it reported.
struct Poll {
    explicit Poll(DDS_WaitSet *waitSet)
    {
        Conditions active;
        retCode = DDS_WaitSet_wait(waitSet, &active, &noTime);
        reported = active.list();
    }
    DDS_ReturnCode_t retCode;
    std::vector<DDS_Condition *> reported;
};

/// The conditions in any order.
template <class... Some>
auto areConditions(const Some &...conditions)
{
    return testing::UnorderedElementsAreArray(std::vector<DDS_Condition *>{conditions...});
}

/// A wait without time reports these conditions.
#define EXPECT_REPORTED(waitSet_, ...)                          \
    do {                                                        \
        const Poll poll(waitSet_);                              \
        EXPECT_EQ(poll.retCode, DDS_RETCODE_OK);                \
        EXPECT_THAT(poll.reported, areConditions(__VA_ARGS__)); \
    } while (false)
/// It reports nothing.
#define EXPECT_NOTHING_REPORTED(waitSet_)             \
    do {                                              \
        const Poll poll(waitSet_);                    \
        EXPECT_EQ(poll.retCode, DDS_RETCODE_TIMEOUT); \
        EXPECT_TRUE(poll.reported.empty());           \
    } while (false)

#endif
