/// @file
/// The plain wait set, as far as one thread sees it: making and deleting, property, attaching, masking, bad input.
#include "MemoryFixture.hpp"
#include "WaitSetFixture.hpp"

namespace {

class WaitSet : public MemoryTest {
protected:
    LogCapture log;
};

// ---------------------------------------------------------------- making, deleting, property

TEST_F(WaitSet, a_new_one_has_the_default_property_and_no_conditions)
{
    DDS_WaitSet *const waitSet = DDS_WaitSet_new();
    ASSERT_NE(waitSet, nullptr);
    DDS_WaitSetProperty_t property = {};
    EXPECT_EQ(DDS_WaitSet_get_property(waitSet, &property), DDS_RETCODE_OK);
    EXPECT_EQ(property.max_event_count, 1);
    EXPECT_EQ(property.max_event_delay.sec, 0x7fffffff);
    EXPECT_EQ(property.max_event_delay.nanosec, 0x7fffffffU);
    Conditions attached;
    EXPECT_EQ(DDS_WaitSet_get_conditions(waitSet, &attached), DDS_RETCODE_OK);
    EXPECT_TRUE(attached.list().empty());
    EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

struct BadProperty {
    DDS_WaitSetProperty_t property;
    const char *field;
};
const BadProperty badProperties[] = {
    {{0, forever}, "max_event_count"},
    {{-1, forever}, "max_event_count"},
    {{INT32_MIN, forever}, "max_event_count"},
    {{1, {-1, 0}}, "max_event_delay"},
    {{1, {0, 1'000'000'000}}, "max_event_delay"},
    {{1, {INT32_MIN, 5}}, "max_event_delay"},
    {{1, {0x7fffffff, 0xffffffff}}, "max_event_delay"},
};

TEST_F(WaitSet, a_bad_property_makes_creation_fail_with_the_name_of_the_field)
{
    for (const BadProperty &bad : badProperties) {
        log.clear();
        EXPECT_EQ(DDS_WaitSet_newI(DDS_DomainParticipantFactory_get_instance(), bad.property.max_event_count,
                                   &bad.property.max_event_delay),
                  nullptr);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, bad.field);
        EXPECT_LOG_COUNT(log, 1);
        log.clear();
        EXPECT_EQ(DDS_WaitSet_new_with_property(&bad.property), nullptr);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, bad.field);
    }
}

TEST_F(WaitSet, a_null_property_makes_creation_fail)
{
    EXPECT_EQ(DDS_WaitSet_new_with_property(nullptr), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "property");
    log.clear();
    EXPECT_EQ(DDS_WaitSet_newI(DDS_DomainParticipantFactory_get_instance(), 1, nullptr), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "max_event_delay");
}

TEST_F(WaitSet, a_bad_property_is_refused_and_changes_nothing)
{
    TestWaitSet waitSet({7, oneHour});
    for (const BadProperty &bad : badProperties) {
        log.clear();
        EXPECT_EQ(DDS_WaitSet_set_property(waitSet, &bad.property), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, bad.field);
        DDS_WaitSetProperty_t property = {};
        EXPECT_EQ(DDS_WaitSet_get_property(waitSet, &property), DDS_RETCODE_OK);
        EXPECT_EQ(property.max_event_count, 7);
        EXPECT_EQ(property.max_event_delay.sec, 3600);
    }
}

TEST_F(WaitSet, null_is_refused_by_name)
{
    TestWaitSet waitSet;
    Guard guard;
    Conditions active;
    DDS_WaitSetProperty_t property = DDS_WAITSET_PROPERTY_DEFAULT;
    const auto expectRefused = [this](DDS_ReturnCode_t retCode, const char *name) {
        EXPECT_EQ(retCode, DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, name);
        EXPECT_LOG_COUNT(log, 1);
        log.clear();
    };
    expectRefused(DDS_WaitSet_delete(nullptr), "self");
    expectRefused(DDS_WaitSet_wait(nullptr, &active, &noTime), "self");
    expectRefused(DDS_WaitSet_wait(waitSet, nullptr, &noTime), "active_conditions");
    expectRefused(DDS_WaitSet_wait(waitSet, &active, nullptr), "timeout");
    expectRefused(DDS_WaitSet_attach_condition(nullptr, guard), "self");
    expectRefused(DDS_WaitSet_attach_condition(waitSet, nullptr), "condition");
    expectRefused(DDS_WaitSet_detach_condition(nullptr, guard), "self");
    expectRefused(DDS_WaitSet_detach_condition(waitSet, nullptr), "condition");
    expectRefused(DDS_WaitSet_mask_condition(nullptr, guard, DDS_BOOLEAN_TRUE), "self");
    expectRefused(DDS_WaitSet_mask_condition(waitSet, nullptr, DDS_BOOLEAN_TRUE), "condition");
    expectRefused(DDS_WaitSet_get_conditions(nullptr, &active), "self");
    expectRefused(DDS_WaitSet_get_conditions(waitSet, nullptr), "attached_conditions");
    expectRefused(DDS_WaitSet_set_property(nullptr, &property), "self");
    expectRefused(DDS_WaitSet_set_property(waitSet, nullptr), "property");
    expectRefused(DDS_WaitSet_get_property(nullptr, &property), "self");
    expectRefused(DDS_WaitSet_get_property(waitSet, nullptr), "property");

    DDS_WaitSet_end_waitI(nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_WaitSet_start_conditions_iteratorI(nullptr, 0), 0);
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(nullptr, 0), nullptr);
    DDS_WaitSet_end_conditions_iteratorI(nullptr);
    EXPECT_EQ(log.count(2, DDS_LOG_BAD_PARAMETER_s), 3);
}

TEST_F(WaitSet, a_malformed_time_out_is_refused)
{
    TestWaitSet waitSet;
    Guard guard;
    waitSet.attach(guard);
    guard.set(true);
    for (const DDS_Duration_t timeout : {DDS_Duration_t{-1, 0}, DDS_Duration_t{0, 1'000'000'000}}) {
        log.clear();
        Conditions active;
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &timeout), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "timeout");
        EXPECT_EQ(waitSet.freshEvents(), 1) << "nothing was reported";
    }
    waitSet.detach(guard);
}

TEST_F(WaitSet, creation_without_memory_fails)
{
    endMemory();
    EXPECT_EQ(DDS_WaitSet_new(), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "DDS_WaitSet");
}

TEST_F(WaitSet, deleting_detaches_and_leaves_the_conditions)
{
    Guard first;
    Guard second;
    TestWaitSet other;
    {
        TestWaitSet waitSet;
        waitSet.attach(first);
        waitSet.attach(second);
        other.attach(first);
        first.set(true);
    }
    EXPECT_REPORTED(other, first);
    EXPECT_EQ(DDS_WaitSet_detach_condition(other, first), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

// ---------------------------------------------------------------- attaching

TEST_F(WaitSet, attaching_twice_changes_nothing)
{
    Guard guard;
    TestWaitSet waitSet({5, forever});
    guard.set(true);
    waitSet.attach(guard);
    waitSet.mask(guard);
    endMemory();
    waitSet.attach(guard);
    bringMemoryBack();
    EXPECT_NOTHING_REPORTED(waitSet);  // It is still masked.
    EXPECT_EQ(DDS_WaitSet_start_conditions_iteratorI(waitSet, 0), 1);
    DDS_WaitSet_end_conditions_iteratorI(waitSet);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSet, attaching_without_memory_changes_nothing)
{
    Guard guard;
    TestWaitSet waitSet;
    endMemory();
    EXPECT_EQ(DDS_WaitSet_attach_condition(waitSet, guard), DDS_RETCODE_OUT_OF_RESOURCES);
    bringMemoryBack();
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "attachment of condition");
    EXPECT_EQ(DDS_WaitSet_start_conditions_iteratorI(waitSet, 0), 0);
    DDS_WaitSet_end_conditions_iteratorI(waitSet);
    guard.set(true);
    EXPECT_NOTHING_REPORTED(waitSet);
}

TEST_F(WaitSet, detaching_what_is_not_attached_is_refused)
{
    Guard guard;
    TestWaitSet waitSet;
    TestWaitSet other;
    other.attach(guard);
    EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, guard), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "the condition is not attached to this wait set");
    EXPECT_EQ(DDS_WaitSet_detach_condition(other, guard), DDS_RETCODE_OK);
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(WaitSet, a_detached_condition_is_not_reported)
{
    Guard guard;
    TestWaitSet waitSet({5, forever});
    waitSet.attach(guard);
    guard.set(true);
    waitSet.detach(guard);
    EXPECT_EQ(waitSet.freshEvents(), 0);
    EXPECT_EQ(waitSet.activeCount(), 0);
    EXPECT_NOTHING_REPORTED(waitSet);
}

TEST_F(WaitSet, one_condition_serves_several_wait_sets)
{
    Guard guard;
    TestWaitSet first;
    TestWaitSet second;
    first.attach(guard);
    second.attach(guard);
    guard.set(true);
    EXPECT_REPORTED(first, guard);
    EXPECT_REPORTED(second, guard);
    first.mask(guard);
    EXPECT_NOTHING_REPORTED(first);
    EXPECT_REPORTED(second, guard);
    first.detach(guard);
    EXPECT_REPORTED(second, guard);
}

// ---------------------------------------------------------------- masking

TEST_F(WaitSet, masking_what_is_not_attached_is_refused)
{
    Guard guard;
    TestWaitSet waitSet;
    for (const DDS_Boolean takesPart : {DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE}) {
        log.clear();
        EXPECT_EQ(DDS_WaitSet_mask_condition(waitSet, guard, takesPart), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "the condition is not attached to this wait set");
    }
}

TEST_F(WaitSet, a_masked_condition_is_not_reported_until_it_is_unmasked)
{
    Guard guard;
    TestWaitSet waitSet;
    waitSet.attach(guard);
    waitSet.mask(guard);
    guard.set(true);
    EXPECT_NOTHING_REPORTED(waitSet);
    EXPECT_EQ(DDS_GuardCondition_get_trigger_value(guard), DDS_BOOLEAN_TRUE);
    waitSet.unmask(guard);
    EXPECT_REPORTED(waitSet, guard);

    waitSet.mask(guard);  // This time it is masked while triggered.
    EXPECT_NOTHING_REPORTED(waitSet);
    waitSet.unmask(guard);
    EXPECT_REPORTED(waitSet, guard);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSet, masking_is_idempotent)
{
    Guard guard;
    TestWaitSet waitSet({5, forever});
    waitSet.attach(guard);
    guard.set(true);
    waitSet.unmask(guard);
    EXPECT_EQ(waitSet.freshEvents(), 1) << "it stays fresh: nothing was switched";
    waitSet.mask(guard);
    waitSet.mask(guard);
    EXPECT_NOTHING_REPORTED(waitSet);
    waitSet.unmask(guard);
    waitSet.unmask(guard);
    EXPECT_REPORTED(waitSet, guard);
}

TEST_F(WaitSet, masks_work_between_a_wait_and_its_end)
{
    Guard first;
    Guard second;
    TestWaitSet waitSet;
    waitSet.attach(first);
    waitSet.attach(second);
    first.set(true);
    second.set(true);
    Conditions active;
    ASSERT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(first, second));
    waitSet.mask(first);
    DDS_WaitSet_end_waitI(waitSet);
    EXPECT_REPORTED(waitSet, second);
    waitSet.unmask(first);
    EXPECT_REPORTED(waitSet, first, second);
}

}  // namespace
