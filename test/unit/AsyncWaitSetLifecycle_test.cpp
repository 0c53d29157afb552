/// @file
/// Building the record: the order of the steps, the names and levels of the areas, what is copied, and how every
/// failing step is unwound.

// Replaces: DDS_DomainParticipantFactory_get_default_thread_factory
#include <climits>
#include <cstddef>
#include <cstring>

#include "CreationFixture.hpp"
#include "dds_c/dds_c_log.h"

namespace {

void *createNothing(void *, const char *, const DDS_ThreadSettings_t *, DDS_ThreadFactory_OnSpawnedFunction, void *)
{
    return nullptr;
}
void deleteNothing(void *, void *) {}

int defaultFactoryData;
const DDS_ThreadFactory defaultFactory = {&defaultFactoryData, createNothing, deleteNothing};

using testing::ElementsAre;
using testing::IsEmpty;

#define FIELD(field_) offsetof(DDS_AsyncWaitSetImpl, field_)
static_assert(FIELD(_property) < FIELD(_listener) && FIELD(_listener) < FIELD(_globals) &&
              FIELD(_globals) < FIELD(_sharedWaitSet) && FIELD(_sharedWaitSet) < FIELD(_taskCondition) &&
              FIELD(_taskCondition) < FIELD(_threadFactory) && FIELD(_threadFactory) < FIELD(_threadPool) &&
              FIELD(_threadPool) < FIELD(_criticalSectionEA) &&
              FIELD(_criticalSectionEA) < FIELD(_criticalSectionEaName) &&
              FIELD(_criticalSectionEaName) < FIELD(_threadPoolSynchronizerEA) &&
              FIELD(_threadPoolSynchronizerEA) < FIELD(_threadPoolSynchronizerEaName) &&
              FIELD(_threadPoolSynchronizerEaName) < FIELD(_threadHandler) &&
              FIELD(_threadHandler) < FIELD(_conditionInfoList) &&
              FIELD(_conditionInfoList) < FIELD(_nextConditionInfo) &&
              FIELD(_nextConditionInfo) < FIELD(_conditionIterator) &&
              FIELD(_conditionIterator) < FIELD(_compareConditionHandler) &&
              FIELD(_compareConditionHandler) < FIELD(_compareUserData) &&
              FIELD(_compareUserData) < FIELD(_conditionInfoPool) && FIELD(_conditionInfoPool) < FIELD(_taskInfoPool) &&
              FIELD(_taskInfoPool) < FIELD(_internalTaskQueue) && FIELD(_internalTaskQueue) < FIELD(_barrier) &&
              FIELD(_barrier) < FIELD(_isStarted) && FIELD(_isStarted) < FIELD(_isStopInitiated) &&
              FIELD(_isStopInitiated) < FIELD(_runningState) && FIELD(_runningState) < FIELD(_completionTokenPool) &&
              FIELD(_completionTokenPool) < FIELD(_loanedCompletionTokenCount));
#undef FIELD

/// How the making of a pool is noted.
std::string poolCall(int size, int alignment, VESKFastBufferPool_InitializeBufferFunction initialize,
                     void *initializeParameter, VESKFastBufferPool_FinalizeBufferFunction finalize,
                     void *finalizeParameter, const VESKFastBufferPoolProperty *property, const char *typeName,
                     int reserved)
{
    const bool isPlain = initialize == nullptr && initializeParameter == nullptr && finalize == nullptr &&
                         finalizeParameter == nullptr && reserved == 0;
    const VESKFastBufferPoolProperty &p = *property;
    return LogCapture::format("pool of %s (%d bytes, aligned to %d, %s) {%d %d %d} %d %d %d %d", typeName, size,
                              alignment, isPlain ? "plain" : "other", p.growth.initial, p.growth.maximal,
                              p.growth.increment, p.multiThreadedAccess, p.zeroBufferContent, p.ignoreMaximal,
                              p.dynamicAlloc);
}
std::string plainPoolOf(const char *typeName, size_t size)
{
    return LogCapture::format("pool of %s (%zu bytes, aligned to 8, plain) {2 -1 -1} 0 0 0 0", typeName, size);
}

/// A record in the test's own storage, which holds whatever was there before.
class Lifecycle : public CreationTest {
protected:
    Lifecycle()
    {
        std::memset(static_cast<void *>(&aws), 0xa5, sizeof aws);
        doubles.on(getDefaultFactory).forGood().instead([] { return defaultFactory; });
        doubles.on("VESKFastBufferPool_newWithParams").as(poolCall);
        doubles.clear();
    }

    int initialize(const DDS_AsyncWaitSetProperty_t &property)
    {
        return DDS_AsyncWaitSet_initialize(&aws, DDS_DomainParticipantFactory_get_instance(), globals, &property,
                                           givenListener, givenFactory, givenCompare, givenCompareData);
    }
    void finalizeWell() { EXPECT_EQ(DDS_AsyncWaitSet_finalize(&aws), DDS_RETCODE_OK); }

    /// Initialization fails with one message, leaves nothing behind, and succeeds when it is repeated well.
    void expectFailure(const DDS_AsyncWaitSetProperty_t &property, const ZYLLogTemplate &message,
                       const std::string &argument, size_t messageCount = 1)
    {
        log.clear();
        EXPECT_EQ(initialize(property), 0);
        EXPECT_TRUE(log.has(ZYL_LOG_LEVEL_WARNING, message, LogCapture::format(message.format, argument.c_str())));
        EXPECT_LOG_COUNT(log, messageCount);
        expectReleased();
        doubles.heal();
        EXPECT_EQ(initialize(propertyOf(3)), 1);
        finalizeWell();
    }
    void expectReleased()
    {
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
        EXPECT_EQ(aws._taskInfoPool, nullptr);
        EXPECT_EQ(aws._conditionInfoPool, nullptr);
        EXPECT_EQ(aws._criticalSectionEA, nullptr);
        EXPECT_EQ(aws._threadPoolSynchronizerEA, nullptr);
        EXPECT_EQ(aws._sharedWaitSet, nullptr);
        EXPECT_EQ(aws._taskCondition, nullptr);
        EXPECT_EQ(aws._threadPool, nullptr);
        EXPECT_EQ(aws._barrier, nullptr);
        EXPECT_EQ(aws._property.thread_name_prefix, nullptr);
    }

    static constexpr const char *getDefaultFactory = "DDS_DomainParticipantFactory_get_default_thread_factory";
    const DDS_AsyncWaitSetListener *givenListener = nullptr;
    const DDS_ThreadFactory *givenFactory = nullptr;
    VESKOrderedDataTypeCompareWithUserDataFunction givenCompare = nullptr;
    void *givenCompareData = nullptr;
    DDS_AsyncWaitSet aws;
};

TEST_F(Lifecycle, a_pool_of_several_threads_is_built_in_the_stated_order)
{
    DDS_AsyncWaitSetProperty_t property = propertyOf(3, 5, "longer prefix");
    property.waitset_property = {4, {6, 7}};
    doubles.on(heap).unnoted();
    doubles.on(heap).with("struct DDS_AsyncWaitSetThread").as("array of thread records");
    ASSERT_EQ(initialize(property), 1);
    EXPECT_THAT(doubles.calls(),
                ElementsAre(plainPoolOf("struct DDS_AWSTaskInfo", sizeof(DDS_AWSTaskInfo)),
                            plainPoolOf("struct DDS_AWSConditionInfo", sizeof(DDS_AWSConditionInfo)),
                            "ZYLOsapiUtility_strncpy(33, longer prefix, 8)",
                            "ZYLOsapiUtility_strncat(33, _AWS_CRITICAL_SECTION_EA, 24)",
                            "VESKWorkerFactory_createExclusiveAreaEx(6, longer p_AWS_CRITICAL_SECTION_EA)",
                            "DDS_WaitSet_newI(4, {6 7})", "DDS_CountingCondition_newI",
                            "DDS_WaitSet_attach_condition(an unnamed condition)", "array of thread records",
                            "ZYLOsapiBarrier_new(3)", "ZYLOsapiUtility_strncpy(29, longer prefix, 8)",
                            "ZYLOsapiUtility_strncat(29, _AWS_SYNCHRONIZER_EA, 20)",
                            "VESKWorkerFactory_createExclusiveAreaEx(5, longer p_AWS_SYNCHRONIZER_EA)",
                            getDefaultFactory, "DDS_AsyncWaitSetThread_initialize(0)",
                            "DDS_AsyncWaitSetThread_initialize(1)", "DDS_AsyncWaitSetThread_initialize(2)"));
    EXPECT_STREQ(aws._criticalSectionEaName, "longer p_AWS_CRITICAL_SECTION_EA");
    EXPECT_STREQ(aws._threadPoolSynchronizerEaName, "longer p_AWS_SYNCHRONIZER_EA");
    EXPECT_EQ(aws._threadHandler.handler_data, &aws);
    EXPECT_EQ(aws._threadHandler.on_wake_up, &DDS_AsyncWaitSet_onWakeUpThreadPool);
    EXPECT_NE(aws._barrier, nullptr);
    finalizeWell();
    EXPECT_NO_LOG(log);
}

TEST_F(Lifecycle, a_pool_of_one_thread_has_neither_barrier_nor_synchronizer)
{
    ASSERT_EQ(initialize(propertyOf(1, 1)), 1);
    EXPECT_EQ(aws._barrier, nullptr);
    EXPECT_EQ(aws._threadPoolSynchronizerEA, nullptr);
    EXPECT_STREQ(aws._threadPoolSynchronizerEaName, "");
    EXPECT_EQ(doubles.count("ZYLOsapiBarrier_new"), 0);
    EXPECT_EQ(doubles.count("VESKWorkerFactory_createExclusiveAreaEx(2, UNKNOWN_AWS_CRITICAL_SECTION_EA)"), 1);
    EXPECT_EQ(doubles.count("VESKWorkerFactory_createExclusiveAreaEx"), 1);
    EXPECT_EQ(aws._threadHandler.handler_data, &aws);
    EXPECT_EQ(aws._threadHandler.on_wake_up, &DDS_AsyncWaitSet_onWakeUpSingleThread);
    ASSERT_NE(aws._threadPool, nullptr);
    EXPECT_EQ(aws._threadPool[0]._owner, &aws);
    finalizeWell();
    EXPECT_NO_LOG(log);
}

TEST_F(Lifecycle, the_area_names_begin_with_eight_characters_of_the_prefix_or_with_unknown)
{
    const struct {
        const char *prefix;
        const char *criticalSection;
        const char *synchronizer;
    } cases[] = {
        {nullptr, "UNKNOWN_AWS_CRITICAL_SECTION_EA", "UNKNOWN_AWS_SYNCHRONIZER_EA"},
        {"", "_AWS_CRITICAL_SECTION_EA", "_AWS_SYNCHRONIZER_EA"},
        {"a", "a_AWS_CRITICAL_SECTION_EA", "a_AWS_SYNCHRONIZER_EA"},
        {"12345678", "12345678_AWS_CRITICAL_SECTION_EA", "12345678_AWS_SYNCHRONIZER_EA"},
        {"123456789", "12345678_AWS_CRITICAL_SECTION_EA", "12345678_AWS_SYNCHRONIZER_EA"},
    };
    for (const auto &c : cases) {
        ASSERT_EQ(initialize(propertyOf(2, 1, c.prefix)), 1);
        EXPECT_STREQ(aws._criticalSectionEaName, c.criticalSection);
        EXPECT_STREQ(aws._threadPoolSynchronizerEaName, c.synchronizer);
        EXPECT_EQ(
            doubles.count(LogCapture::format("VESKWorkerFactory_createExclusiveAreaEx(2, %s)", c.criticalSection)), 1);
        EXPECT_EQ(doubles.count(LogCapture::format("VESKWorkerFactory_createExclusiveAreaEx(1, %s)", c.synchronizer)),
                  1);
        finalizeWell();
        doubles.clear();
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Lifecycle, a_listener_is_copied_and_without_one_nothing_is_called)
{
    RecordingListener recorder;
    DDS_AsyncWaitSetListener listener = recorder.listener();
    const DDS_AsyncWaitSetListener original = listener;
    givenListener = &listener;
    ASSERT_EQ(initialize(propertyOf(1)), 1);
    listener = {};
    EXPECT_EQ(aws._listener.listener_data, &recorder);
    EXPECT_EQ(aws._listener.on_thread_spawned, original.on_thread_spawned);
    EXPECT_EQ(aws._listener.on_thread_deleted, original.on_thread_deleted);
    EXPECT_EQ(aws._listener.on_wait_timeout, original.on_wait_timeout);
    EXPECT_EQ(aws._listener.on_condition_attached, original.on_condition_attached);
    EXPECT_EQ(aws._listener.on_condition_detached, original.on_condition_detached);
    finalizeWell();

    givenListener = nullptr;
    ASSERT_EQ(initialize(propertyOf(1)), 1);
    const DDS_AsyncWaitSetListener none = {};
    EXPECT_EQ(std::memcmp(&aws._listener, &none, sizeof none), 0);
    finalizeWell();
}

TEST_F(Lifecycle, without_a_thread_factory_or_with_the_default_ones_address_the_default_is_copied)
{
    for (const DDS_ThreadFactory *given :
         {static_cast<const DDS_ThreadFactory *>(nullptr), &DDS_THREAD_FACTORY_USE_DEFAULT}) {
        doubles.clear();
        givenFactory = given;
        ASSERT_EQ(initialize(propertyOf(2)), 1);
        EXPECT_EQ(doubles.count(getDefaultFactory), 1);
        EXPECT_EQ(aws._threadFactory.factory_data, &defaultFactoryData);
        EXPECT_EQ(aws._threadFactory.create_thread, createNothing);
        EXPECT_EQ(aws._threadFactory.delete_thread, deleteNothing);
        finalizeWell();
    }
}

TEST_F(Lifecycle, a_thread_factory_is_copied)
{
    int data = 0;
    DDS_ThreadFactory factory = {&data, createNothing, deleteNothing};
    givenFactory = &factory;
    ASSERT_EQ(initialize(propertyOf(2)), 1);
    factory = {};
    EXPECT_EQ(doubles.count(getDefaultFactory), 0);
    EXPECT_EQ(aws._threadFactory.factory_data, &data);
    EXPECT_EQ(aws._threadFactory.create_thread, createNothing);
    EXPECT_EQ(aws._threadFactory.delete_thread, deleteNothing);
    finalizeWell();
}

TEST_F(Lifecycle, the_order_of_the_registry_is_the_given_one_or_that_of_attaching)
{
    ASSERT_EQ(initialize(propertyOf(1)), 1);
    EXPECT_EQ(aws._compareUserData, nullptr);
    ASSERT_NE(aws._compareConditionHandler, nullptr);
    EXPECT_EQ(aws._compareConditionHandler(&aws, globals, nullptr), 1);
    EXPECT_EQ(aws._compareConditionHandler(globals, &aws, nullptr), 1);
    EXPECT_EQ(aws._compareConditionHandler(nullptr, nullptr, nullptr), 1);
    finalizeWell();

    givenCompare = [](const void *, const void *, const void *) { return 0; };
    givenCompareData = &defaultFactoryData;
    ASSERT_EQ(initialize(propertyOf(1)), 1);
    EXPECT_EQ(aws._compareConditionHandler, givenCompare);
    EXPECT_EQ(aws._compareUserData, &defaultFactoryData);
    finalizeWell();
}

TEST_F(Lifecycle, a_built_record_is_at_rest_and_owns_its_property)
{
    DDS_AsyncWaitSetProperty_t property = propertyOf(2, 7, "name");
    property.wait_timeout = {3, 4};
    ASSERT_EQ(initialize(property), 1);
    EXPECT_EQ(aws._globals, globals);
    EXPECT_EQ(aws._property.thread_pool_size, 2U);
    EXPECT_EQ(aws._property.level, 7);
    EXPECT_EQ(aws._property.wait_timeout.sec, 3);
    EXPECT_EQ(aws._property.wait_timeout.nanosec, 4U);
    EXPECT_STREQ(aws._property.thread_name_prefix, "name");
    EXPECT_NE(aws._property.thread_name_prefix, property.thread_name_prefix);
    EXPECT_EQ(aws._isStarted, 0);
    EXPECT_EQ(aws._isStopInitiated, 0);
    EXPECT_EQ(aws._runningState, DDS_RUNNING_AWS_STARTED_STATE);
    EXPECT_EQ(VESKInlineList_getFirst(&aws._conditionInfoList), nullptr);
    EXPECT_EQ(VESKInlineList_getFirst(&aws._completionTokenPool), nullptr);
    EXPECT_EQ(VESKInlineList_getFirst(&aws._internalTaskQueue), nullptr);
    EXPECT_EQ(aws._loanedCompletionTokenCount, 0);
    EXPECT_EQ(aws._nextConditionInfo, nullptr);
    EXPECT_EQ(aws._conditionIterator, nullptr);
    EXPECT_EQ(DDS_WaitSet_start_conditions_iteratorI(aws._sharedWaitSet, 0), 1) << "the request condition alone";
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(aws._sharedWaitSet, 0),
              DDS_CountingCondition_as_condition(aws._taskCondition));
    DDS_WaitSet_end_conditions_iteratorI(aws._sharedWaitSet);
    finalizeWell();
}

TEST_F(Lifecycle, null_arguments_are_refused_in_order_and_leave_the_record_alone)
{
    DDS_DomainParticipantFactory *const factory = DDS_DomainParticipantFactory_get_instance();
    const DDS_AsyncWaitSetProperty_t property = propertyOf(2);
    DDS_AsyncWaitSet before;
    std::memcpy(static_cast<void *>(&before), &aws, sizeof aws);
    const auto expectRefused = [&](DDS_AsyncWaitSet *s, DDS_DomainParticipantFactory *f, DDS_AsyncWaitSetGlobals *g,
                                   const DDS_AsyncWaitSetProperty_t *p, const char *text) {
        log.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_initialize(s, f, g, p, nullptr, nullptr, nullptr, nullptr), 0);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, text);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(std::memcmp(&before, &aws, sizeof aws), 0);
        EXPECT_THAT(doubles.calls(), IsEmpty());
    };
    expectRefused(nullptr, nullptr, nullptr, nullptr, "\"self == ((void *)0)\"");
    expectRefused(&aws, nullptr, nullptr, nullptr, "\"factory == ((void *)0)\"");
    expectRefused(&aws, factory, nullptr, nullptr, "\"globals == ((void *)0)\"");
    expectRefused(&aws, factory, globals, nullptr, "\"awsProperty == ((void *)0)\"");
    expectRefused(&aws, nullptr, globals, &property, "\"factory == ((void *)0)\"");
}

/// A failing step: the service, its how-manieth call, and the message.
struct FailingStep {
    const char *service;
    int nth;
    const ZYLLogTemplate *message;
    const char *argument;
};

TEST_F(Lifecycle, every_failing_step_says_what_it_could_not_do_and_is_unwound)
{
    const FailingStep steps[] = {
        {"VESKFastBufferPool_newWithParams", 1, &ZYL_LOG_CREATION_FAILURE_s, "handler info buffer pool"},
        {"VESKFastBufferPool_newWithParams", 2, &ZYL_LOG_CREATION_FAILURE_s, "handler info buffer pool"},
        {"ZYLOsapiUtility_strncat", 1, &ZYL_LOG_INIT_FAILURE_s, "name of _AWS_CRITICAL_SECTION_EA"},
        {"ZYLOsapiUtility_strncat", 2, &ZYL_LOG_INIT_FAILURE_s, "name of _AWS_SYNCHRONIZER_EA"},
        {"VESKWorkerFactory_createExclusiveAreaEx", 1, &ZYL_LOG_CREATION_FAILURE_s, "some_AWS_CRITICAL_SECTION_EA"},
        {"VESKWorkerFactory_createExclusiveAreaEx", 2, &ZYL_LOG_CREATION_FAILURE_s, "some_AWS_SYNCHRONIZER_EA"},
        {"DDS_WaitSet_newI", 1, &DDS_LOG_CREATE_FAILURE_s, "shared WaitSet"},
        {"DDS_CountingCondition_newI", 1, &DDS_LOG_CREATE_FAILURE_s, "shared request condition"},
        {"DDS_WaitSet_attach_condition", 1, &ZYL_LOG_ANY_FAILURE_s, "attach internal request condition"},
        {"ZYLOsapiBarrier_new", 1, &ZYL_LOG_CREATION_FAILURE_s, "internal request synchronization ZYLOsapiBarrier"},
        {"DDS_AsyncWaitSetThread_initialize", 1, &DDS_LOG_INITIALIZE_FAILURE_s, "DDS_AsyncWaitSetThread"},
        {"DDS_AsyncWaitSetThread_initialize", 3, &DDS_LOG_INITIALIZE_FAILURE_s, "DDS_AsyncWaitSetThread"},
    };
    for (const FailingStep &step : steps) {
        SCOPED_TRACE(std::string(step.service) + " " + std::to_string(step.nth));
        doubles.on(step.service).fail(step.nth);
        expectFailure(propertyOf(3, 1, "some"), *step.message, step.argument);
    }
    EXPECT_EQ(doubles.failedCount(), static_cast<int>(std::size(steps)));
}

TEST_F(Lifecycle, a_prefix_that_cannot_be_copied_into_a_name_is_reported_with_nine_and_its_length)
{
    for (const int nth : {1, 2}) {
        log.clear();
        doubles.on("ZYLOsapiUtility_strncpy").fail(nth);
        EXPECT_EQ(initialize(propertyOf(2, 1, "a longer prefix")), 0);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 9, 15);
        EXPECT_LOG_COUNT(log, 1U);
        expectReleased();
    }
    EXPECT_EQ(doubles.failedCount(), 2);
}

TEST_F(Lifecycle, an_array_of_thread_records_without_memory_is_reported)
{
    doubles.on(heap).with("struct DDS_AsyncWaitSetThread").fail();
    expectFailure(propertyOf(3), DDS_LOG_CREATE_FAILURE_s, "thread pool");
}

TEST_F(Lifecycle, a_bad_property_fails_at_the_step_that_uses_it)
{
    DDS_AsyncWaitSetProperty_t property = propertyOf(0);
    expectFailure(property, DDS_LOG_CREATE_FAILURE_s, "thread pool");
    for (const DDS_UnsignedLong tooLarge : {0x7fffffffU, 0x80000000U, 0xffffffffU})
        expectFailure(propertyOf(tooLarge), DDS_LOG_CREATE_FAILURE_s, "thread pool");
    expectFailure(propertyOf(3, INT32_MAX), ZYL_LOG_CREATION_FAILURE_s, "UNKNOWN_AWS_CRITICAL_SECTION_EA");

    for (const DDS_Long count : {0, -1, INT32_MIN}) {
        property = propertyOf(3);
        property.waitset_property.max_event_count = count;
        expectFailure(property, DDS_LOG_CREATE_FAILURE_s, "shared WaitSet", 2);
        EXPECT_EQ(doubles.count(LogCapture::format("DDS_WaitSet_newI(%d, infinite)", count)), 1);
    }
    for (const DDS_Duration_t bad : {DDS_Duration_t{-1, 0}, DDS_Duration_t{0, 1000000000U},
                                     DDS_Duration_t{INT32_MIN, 5}, DDS_Duration_t{1, 0xffffffffU}}) {
        property = propertyOf(3);
        property.waitset_property.max_event_delay = bad;
        expectFailure(property, DDS_LOG_CREATE_FAILURE_s, "shared WaitSet", 2);
        property = propertyOf(3);
        property.wait_timeout = bad;
        expectFailure(property, DDS_LOG_BAD_PARAMETER_s, "wait_timeout");
    }
}

TEST_F(Lifecycle, the_extremes_of_a_good_property_are_accepted)
{
    DDS_AsyncWaitSetProperty_t property = propertyOf(2, INT32_MAX - 1);
    property.waitset_property = {INT32_MAX, {0, 0}};
    property.wait_timeout = {0, 0};
    ASSERT_EQ(initialize(property), 1);
    finalizeWell();
    property = propertyOf(2, -5);
    property.waitset_property = {1, {INT32_MAX, 999999999U}};
    property.wait_timeout = {INT32_MAX, 999999999U};
    ASSERT_EQ(initialize(property), 1);
    finalizeWell();
    EXPECT_NO_LOG(log);
}

TEST_F(Lifecycle, a_property_that_cannot_be_copied_whole_is_no_reason_to_fail)
{
    doubles.on(heap).fail();
    ASSERT_EQ(initialize(propertyOf(2, 4, "prefix")), 1);
    EXPECT_EQ(doubles.failedCount(), 1);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "copy thread name prefix");
    EXPECT_EQ(aws._property.thread_name_prefix, nullptr);
    EXPECT_EQ(aws._property.thread_pool_size, 2U);
    EXPECT_STREQ(aws._criticalSectionEaName, "prefix_AWS_CRITICAL_SECTION_EA") << "named after the caller's property";
    finalizeWell();
}

}  // namespace
