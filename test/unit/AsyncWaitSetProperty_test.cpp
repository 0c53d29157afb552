/// @file
/// The creation property: its defaults, deep copies of it, and copies that memory does not suffice for.

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

using testing::ElementsAre;

static_assert(
    offsetof(DDS_AsyncWaitSetProperty_t, waitset_property) < offsetof(DDS_AsyncWaitSetProperty_t, thread_pool_size) &&
    offsetof(DDS_AsyncWaitSetProperty_t, thread_pool_size) < offsetof(DDS_AsyncWaitSetProperty_t, thread_settings) &&
    offsetof(DDS_AsyncWaitSetProperty_t, thread_settings) < offsetof(DDS_AsyncWaitSetProperty_t, thread_name_prefix) &&
    offsetof(DDS_AsyncWaitSetProperty_t, thread_name_prefix) < offsetof(DDS_AsyncWaitSetProperty_t, wait_timeout) &&
    offsetof(DDS_AsyncWaitSetProperty_t, wait_timeout) < offsetof(DDS_AsyncWaitSetProperty_t, level));
static_assert(
    offsetof(DDS_AsyncWaitSetListener, listener_data) < offsetof(DDS_AsyncWaitSetListener, on_thread_spawned) &&
    offsetof(DDS_AsyncWaitSetListener, on_thread_spawned) < offsetof(DDS_AsyncWaitSetListener, on_thread_deleted) &&
    offsetof(DDS_AsyncWaitSetListener, on_thread_deleted) < offsetof(DDS_AsyncWaitSetListener, on_wait_timeout) &&
    offsetof(DDS_AsyncWaitSetListener, on_wait_timeout) < offsetof(DDS_AsyncWaitSetListener, on_condition_attached) &&
    offsetof(DDS_AsyncWaitSetListener, on_condition_attached) <
        offsetof(DDS_AsyncWaitSetListener, on_condition_detached));

std::vector<DDS_Long> cpusOf(DDS_AsyncWaitSetProperty_t &property)
{
    DDS_LongSeq *const list = &property.thread_settings.cpu_list;
    std::vector<DDS_Long> cpus;
    for (DDS_Long i = 0; i < DDS_LongSeq_get_length(list); ++i) cpus.push_back(DDS_LongSeq_get(list, i));
    return cpus;
}

bool isInfinite(const DDS_Duration_t &duration)
{
    return duration.sec == 0x7fffffff && duration.nanosec == 0x7fffffffU;
}

/// A property in which no field has its default; it owns what it holds.
class Property : public testing::Test {
protected:
    Property()
    {
        DDS_AsyncWaitSetProperty_t_initialize(&full);
        full.waitset_property = {5, {6, 7}};
        full.thread_pool_size = 8;
        full.thread_settings.mask = 9;
        full.thread_settings.priority = 10;
        full.thread_settings.stack_size = 11;
        full.thread_settings.cpu_rotation = DDS_THREAD_SETTINGS_CPU_RR_ROTATION;
        full.thread_settings.num_uses = 12;
        full.wait_timeout = {13, 14};
        full.level = 15;
        full.thread_name_prefix = DDS_String_dup("prefix");
        const DDS_Long cpus[] = {3, 1, 2};
        DDS_LongSeq_from_array(&full.thread_settings.cpu_list, cpus, 3);
        DDS_AsyncWaitSetProperty_t_initialize(&copy);
    }
    ~Property() override
    {
        DDS_AsyncWaitSetProperty_t_finalize(&copy);
        DDS_AsyncWaitSetProperty_t_finalize(&full);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    Property(const Property &) = delete;
    Property &operator=(const Property &) = delete;

    const size_t blocks = ZYLOsapiHeap_getBlockCount();
    DDS_AsyncWaitSetProperty_t full;
    DDS_AsyncWaitSetProperty_t copy;
    LogCapture log{0xff};
    Doubles doubles;
    DoubledService heap = doubles.on("ZYLOsapiHeap_reallocateMemoryInternal");
};

TEST_F(Property, the_default_constant_holds_the_documented_values)
{
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    EXPECT_EQ(property.waitset_property.max_event_count, 1);
    EXPECT_TRUE(isInfinite(property.waitset_property.max_event_delay));
    EXPECT_EQ(property.thread_pool_size, 1U);
    EXPECT_EQ(property.thread_settings.mask, 0U);
    EXPECT_EQ(property.thread_settings.priority, -9999999);
    EXPECT_EQ(property.thread_settings.stack_size, -1);
    EXPECT_EQ(DDS_LongSeq_get_length(&property.thread_settings.cpu_list), 0);
    EXPECT_EQ(DDS_LongSeq_get_maximum(&property.thread_settings.cpu_list), 0);
    EXPECT_EQ(property.thread_settings.cpu_rotation, DDS_THREAD_SETTINGS_CPU_NO_ROTATION);
    EXPECT_EQ(property.thread_settings.num_uses, 0);
    EXPECT_EQ(property.thread_name_prefix, nullptr);
    EXPECT_TRUE(isInfinite(property.wait_timeout));
    EXPECT_EQ(property.level, 1);
}

TEST_F(Property, while_requests_are_pending_one_event_wakes_at_once)
{
    EXPECT_EQ(DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY.max_event_count, 1);
    EXPECT_TRUE(isInfinite(DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY.max_event_delay));
}

TEST_F(Property, an_initialized_property_owns_nothing)
{
    DDS_AsyncWaitSetProperty_t property;
    const size_t before = ZYLOsapiHeap_getBlockCount();
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_initialize(&property), DDS_RETCODE_OK);
    EXPECT_EQ(property.thread_name_prefix, nullptr);
    EXPECT_THAT(cpusOf(property), ElementsAre());
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), before);
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_finalize(&property), DDS_RETCODE_OK);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), before);
    EXPECT_NO_LOG(log);
}

TEST_F(Property, a_copy_has_every_field_and_its_own_prefix_and_cpu_list)
{
    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), &copy);
    EXPECT_EQ(copy.waitset_property.max_event_count, 5);
    EXPECT_EQ(copy.waitset_property.max_event_delay.sec, 6);
    EXPECT_EQ(copy.waitset_property.max_event_delay.nanosec, 7U);
    EXPECT_EQ(copy.thread_pool_size, 8U);
    EXPECT_EQ(copy.thread_settings.mask, 9U);
    EXPECT_EQ(copy.thread_settings.priority, 10);
    EXPECT_EQ(copy.thread_settings.stack_size, 11);
    EXPECT_EQ(copy.thread_settings.cpu_rotation, DDS_THREAD_SETTINGS_CPU_RR_ROTATION);
    EXPECT_EQ(copy.thread_settings.num_uses, 12);
    EXPECT_EQ(copy.wait_timeout.sec, 13);
    EXPECT_EQ(copy.wait_timeout.nanosec, 14U);
    EXPECT_EQ(copy.level, 15);

    full.thread_name_prefix[0] = 'X';
    *DDS_LongSeq_get_reference(&full.thread_settings.cpu_list, 0) = 99;
    EXPECT_STREQ(copy.thread_name_prefix, "prefix");
    EXPECT_THAT(cpusOf(copy), ElementsAre(3, 1, 2));
    EXPECT_NO_LOG(log);
}

TEST_F(Property, a_copy_onto_a_filled_property_releases_what_that_held)
{
    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), &copy);
    const size_t before = ZYLOsapiHeap_getBlockCount();
    full.thread_name_prefix[0] = 'X';
    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), &copy);
    EXPECT_STREQ(copy.thread_name_prefix, "Xrefix");
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), before);

    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &DDS_ASYNC_WAITSET_PROPERTY_DEFAULT), &copy);
    EXPECT_EQ(copy.thread_name_prefix, nullptr);
    EXPECT_THAT(cpusOf(copy), ElementsAre());
    EXPECT_EQ(copy.level, 1);
}

TEST_F(Property, a_property_copied_onto_itself_stays_as_it_is)
{
    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&full, &full), &full);
    EXPECT_STREQ(full.thread_name_prefix, "prefix");
    EXPECT_THAT(cpusOf(full), ElementsAre(3, 1, 2));
}

TEST_F(Property, a_copy_without_memory_for_the_prefix_fails_and_can_be_finalized)
{
    heap.fail();
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "copy thread name prefix");
    EXPECT_EQ(copy.thread_name_prefix, nullptr);
    EXPECT_EQ(copy.thread_pool_size, 8U) << "what needs no memory is copied all the same";
    EXPECT_EQ(copy.level, 15);
}

TEST_F(Property, a_copy_without_memory_for_the_cpu_list_fails_and_can_be_finalized)
{
    heap.fail(2);
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "copy cpu list");
    EXPECT_THAT(cpusOf(copy), ElementsAre());
}

TEST_F(Property, a_finalized_property_may_be_finalized_again_and_filled_again)
{
    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), &copy);
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_finalize(&copy), DDS_RETCODE_OK);
    EXPECT_EQ(copy.thread_name_prefix, nullptr);
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_finalize(&copy), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, &full), &copy);
    EXPECT_STREQ(copy.thread_name_prefix, "prefix");
    EXPECT_NO_LOG(log);
}

TEST_F(Property, a_null_property_is_refused)
{
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_initialize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_finalize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_copy(nullptr, &full), nullptr);
    EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s), 3);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_EQ(DDS_AsyncWaitSetProperty_t_copy(&copy, nullptr), nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "source");
    EXPECT_LOG_COUNT(log, 4U);
}

}  // namespace
