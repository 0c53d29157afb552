/// @file
/// Creation under faults: the Nth call of a service fails, N runs upward until creation succeeds. Every failure gives
/// null and a message, and nothing stays behind.

// Replaces: DDS_AsyncWaitSetGlobals_get_instance DDS_DomainParticipantFactory_get_instance
#include "CreationFixture.hpp"
#include "dds_c/dds_c_log.h"

namespace {

class CreationFault : public CreationTest {
protected:
    /// One creation. Returns: the object, after everything that must hold of a failed one has been tested.
    DDS_AsyncWaitSet *create(const DDS_AsyncWaitSetProperty_t &property)
    {
        log.clear();
        const int before = doubles.failedCount();
        DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new_with_listener(&property, nullptr);
        const bool hasFailed = doubles.failedCount() != before;
        doubles.heal();
        if (aws == nullptr) {
            EXPECT_TRUE(hasFailed) << "creation failed for no reason";
            EXPECT_FALSE(log.entries().empty()) << "creation failed without a message";
            const bool isRecordMissing = log.count(2, ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d) == 1;
            EXPECT_TRUE(isRecordMissing || log.has(2, ZYL_LOG_INIT_FAILURE_s, "!init DDS_AsyncWaitSet"));
            EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks) << log.print();
        }
        return aws;
    }
    void deleteWell(DDS_AsyncWaitSet *aws)
    {
        log.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_NO_LOG(log);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    /// Let the Nth call of the service fail (and the later ones too), N upward until none does.
    /// Returns: the number of failed creations.
    int sweep(const std::string &service, const DDS_AsyncWaitSetProperty_t &property, bool isLasting = false)
    {
        int failures = 0;
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(service + " " + std::to_string(nth));
            const int before = doubles.failedCount();
            if (isLasting)
                doubles.on(service).failFrom(nth);
            else
                doubles.on(service).fail(nth);
            DDS_AsyncWaitSet *const aws = create(property);
            const bool hasFailed = doubles.failedCount() != before;
            if (aws == nullptr) {
                ++failures;
            } else {
                // The copy of the property is the one step whose failure is only reported.
                EXPECT_EQ(log.count(2, ZYL_LOG_ANY_FAILURE_s), hasFailed ? 1 : 0) << log.print();
                reportedOnly += hasFailed ? 1 : 0;
                deleteWell(aws);
            }
            if (!hasFailed || testing::Test::HasFailure()) return failures;
        }
    }

    int reportedOnly = 0;
};

TEST_F(CreationFault, no_missing_block_of_memory_is_survived_or_leaks)
{
    const int ofOne = sweep(heap, propertyOf(1));
    const int ofThree = sweep(heap, propertyOf(3));
    EXPECT_GE(ofOne, 9) << "record, two pools, area, wait set, condition, attachment, threads";
    EXPECT_EQ(ofThree, ofOne + 2) << "barrier and synchronizer";
    EXPECT_EQ(reportedOnly, 0);
}

TEST_F(CreationFault, when_memory_ends_for_good_everything_is_given_back_all_the_same)
{
    EXPECT_EQ(sweep(heap, propertyOf(3), true), sweep(heap, propertyOf(3)));
}

TEST_F(CreationFault, a_prefix_or_a_cpu_list_without_memory_is_reported_and_creation_goes_on)
{
    DDS_Long cpus[] = {0};
    DDS_AsyncWaitSetProperty_t property = propertyOf(3, 1, "prefix");
    ASSERT_NE(DDS_LongSeq_loan_contiguous(&property.thread_settings.cpu_list, cpus, 1, 1), DDS_BOOLEAN_FALSE);
    const int plain = sweep(heap, propertyOf(3));
    EXPECT_EQ(sweep(heap, property), plain);
    EXPECT_EQ(reportedOnly, 2);
    DDS_LongSeq_unloan(&property.thread_settings.cpu_list);
}

TEST_F(CreationFault, no_failing_service_is_survived_or_leaks)
{
    const struct {
        const char *service;
        int callsForOne;
        int callsForThree;
    } services[] = {
        {"DDS_DomainParticipantFactory_get_instance", 1, 1},
        {"DDS_AsyncWaitSetGlobals_get_instance", 1, 1},
        {"VESKFastBufferPool_newWithParams", 2, 2},
        {"ZYLOsapiUtility_strncpy", 1, 2},
        {"ZYLOsapiUtility_strncat", 1, 2},
        {"VESKWorkerFactory_createExclusiveAreaEx", 1, 2},
        {"DDS_WaitSet_newI", 1, 1},
        {"DDS_CountingCondition_newI", 1, 1},
        {"DDS_WaitSet_attach_condition", 1, 1},
        {"ZYLOsapiBarrier_new", 0, 1},
        {"DDS_AsyncWaitSetThread_initialize", 1, 3},
    };
    for (const auto &s : services) {
        EXPECT_EQ(sweep(s.service, propertyOf(1)), s.callsForOne) << s.service;
        EXPECT_EQ(sweep(s.service, propertyOf(3)), s.callsForThree) << s.service;
    }
}

TEST_F(CreationFault, a_bad_property_makes_no_object_and_leaks_nothing)
{
    std::vector<DDS_AsyncWaitSetProperty_t> properties;
    properties.push_back(propertyOf(0));
    properties.push_back(propertyOf(UINT32_MAX));
    properties.push_back(propertyOf(1, INT32_MAX));
    properties.push_back(propertyOf(3, INT32_MAX));
    for (const DDS_Long count : {0, -1}) {
        properties.push_back(propertyOf(3));
        properties.back().waitset_property.max_event_count = count;
    }
    for (const DDS_Duration_t bad : {DDS_Duration_t{-1, 0}, DDS_Duration_t{0, 1000000000U}}) {
        properties.push_back(propertyOf(3));
        properties.back().waitset_property.max_event_delay = bad;
        properties.push_back(propertyOf(3));
        properties.back().wait_timeout = bad;
    }
    for (const DDS_AsyncWaitSetProperty_t &property : properties) {
        log.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_new(&property), nullptr);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INIT_FAILURE_s, "DDS_AsyncWaitSet");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "AsyncWaitSet with NIL listener");
        EXPECT_GE(log.entries().size(), 3U) << "and the step that failed";
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
}

}  // namespace
