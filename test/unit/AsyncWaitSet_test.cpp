/// @file
/// The object from the outside: constructors, deletion, and the two accessors.

// Replaces: DDS_AsyncWaitSet_initialize DDS_AsyncWaitSet_finalize DDS_AsyncWaitSetProperty_t_copy
// Replaces: DDS_AsyncWaitSetGlobals_get_instance DDS_DomainParticipantFactory_get_instance
// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

/// The arguments of the last initialization.
struct Initialization {
    DDS_AsyncWaitSet *self;
    DDS_DomainParticipantFactory *factory;
    DDS_AsyncWaitSetGlobals *globals;
    const DDS_AsyncWaitSetProperty_t *property;
    const DDS_AsyncWaitSetListener *listener;
    const DDS_ThreadFactory *threadFactory;
    VESKOrderedDataTypeCompareWithUserDataFunction compare;
    void *compareUserData;
};

class Object : public testing::Test {
protected:
    Object()
    {
        DDS_AsyncWaitSetGlobals_get_instance();
        doubles.on("DDS_AsyncWaitSet_initialize")
            .before([this](DDS_AsyncWaitSet *self, DDS_DomainParticipantFactory *factory,
                           DDS_AsyncWaitSetGlobals *globals, const DDS_AsyncWaitSetProperty_t *given,
                           const DDS_AsyncWaitSetListener *hearing, const DDS_ThreadFactory *making,
                           VESKOrderedDataTypeCompareWithUserDataFunction compare, void *compareUserData) {
                initialization = {self, factory, globals, given, hearing, making, compare, compareUserData};
            });
    }
    ~Object() override { EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks); }
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;

    /// Nothing was made, and nothing stays behind.
    void expectNothing(const DDS_AsyncWaitSet *aws)
    {
        EXPECT_EQ(aws, nullptr);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    static void deleteWell(DDS_AsyncWaitSet *aws) { EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK); }

    const size_t blocks = ZYLOsapiHeap_getBlockCount();
    DDS_AsyncWaitSetProperty_t property = propertyOf(2, 3, "prefix");
    RecordingListener recorder;
    DDS_AsyncWaitSetListener listener = recorder.listener();
    const DDS_ThreadFactory threadFactory =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    LogCapture log;
    Doubles doubles;
    Initialization initialization = {};
};

int compareNothing(const void *, const void *, const void *)
{
    return 0;
}

TEST_F(Object, new_uses_no_listener_and_the_default_thread_factory)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    ASSERT_NE(aws, nullptr);
    EXPECT_EQ(initialization.self, aws);
    EXPECT_EQ(initialization.factory, DDS_DomainParticipantFactory_get_instance());
    EXPECT_EQ(initialization.globals, DDS_AsyncWaitSetGlobals_get_instance());
    EXPECT_EQ(initialization.property, &property);
    EXPECT_EQ(initialization.listener, nullptr);
    EXPECT_EQ(initialization.threadFactory, &DDS_THREAD_FACTORY_USE_DEFAULT);
    EXPECT_EQ(initialization.compare, nullptr);
    EXPECT_EQ(initialization.compareUserData, nullptr);
    deleteWell(aws);
    EXPECT_NO_LOG(log);
}

TEST_F(Object, new_with_listener_passes_the_listener_on)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new_with_listener(&property, &listener);
    ASSERT_NE(aws, nullptr);
    EXPECT_EQ(initialization.factory, DDS_DomainParticipantFactory_get_instance());
    EXPECT_EQ(initialization.listener, &listener);
    EXPECT_EQ(initialization.threadFactory, &DDS_THREAD_FACTORY_USE_DEFAULT);
    EXPECT_EQ(initialization.compare, nullptr);
    deleteWell(aws);
    EXPECT_NO_LOG(log);
}

TEST_F(Object, new_with_thread_factory_passes_listener_and_factory_on)
{
    for (const DDS_AsyncWaitSetListener *given : {static_cast<const DDS_AsyncWaitSetListener *>(nullptr),
                                                  static_cast<const DDS_AsyncWaitSetListener *>(&listener)}) {
        DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, given, &threadFactory);
        ASSERT_NE(aws, nullptr);
        EXPECT_EQ(initialization.factory, DDS_DomainParticipantFactory_get_instance());
        EXPECT_EQ(initialization.listener, given);
        EXPECT_EQ(initialization.threadFactory, &threadFactory);
        EXPECT_EQ(initialization.compare, nullptr);
        EXPECT_EQ(initialization.compareUserData, nullptr);
        deleteWell(aws);
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Object, the_internal_constructor_passes_everything_on)
{
    int data = 0;
    DDS_DomainParticipantFactory *const factory = DDS_DomainParticipantFactory_get_instance();
    DDS_AsyncWaitSet *const aws =
        DDS_AsyncWaitSet_newI(factory, &property, &listener, &threadFactory, compareNothing, &data);
    ASSERT_NE(aws, nullptr);
    EXPECT_EQ(initialization.factory, factory);
    EXPECT_EQ(initialization.listener, &listener);
    EXPECT_EQ(initialization.threadFactory, &threadFactory);
    EXPECT_EQ(initialization.compare, compareNothing);
    EXPECT_EQ(initialization.compareUserData, &data);
    deleteWell(aws);
    EXPECT_NO_LOG(log);
}

TEST_F(Object, the_record_is_one_structure_of_the_heap)
{
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal")
        .with("ZYLOsapiHeap_allocateStructure", "DDS_AsyncWaitSet", sizeof(DDS_AsyncWaitSet))
        .as("the record");
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    EXPECT_EQ(doubles.count("the record"), 1);
    deleteWell(aws);
}

TEST_F(Object, every_constructor_refuses_a_null_property)
{
    expectNothing(DDS_AsyncWaitSet_new_with_listener(nullptr, &listener));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "property");
    EXPECT_LOG_COUNT(log, 1U);
    log.clear();
    expectNothing(DDS_AsyncWaitSet_new_with_thread_factory(nullptr, &listener, &threadFactory));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "property");
    EXPECT_LOG_COUNT(log, 1U);
    log.clear();
    expectNothing(DDS_AsyncWaitSet_newI(DDS_DomainParticipantFactory_get_instance(), nullptr, &listener, &threadFactory,
                                        nullptr, nullptr));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "AWS_property");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_initialize"), 0);
}

TEST_F(Object, new_reports_every_failure_once_more_in_its_own_words)
{
    expectNothing(DDS_AsyncWaitSet_new(nullptr));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "property");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "AsyncWaitSet with NIL listener");
    EXPECT_LOG_COUNT(log, 2U);
    log.clear();
    doubles.on("DDS_AsyncWaitSet_initialize").fail();
    expectNothing(DDS_AsyncWaitSet_new(&property));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INIT_FAILURE_s, "DDS_AsyncWaitSet");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "AsyncWaitSet with NIL listener");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(Object, a_null_thread_factory_is_refused_after_the_property)
{
    expectNothing(DDS_AsyncWaitSet_new_with_thread_factory(&property, &listener, nullptr));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "thread_factory");
    EXPECT_LOG_COUNT(log, 1U);
    log.clear();
    expectNothing(DDS_AsyncWaitSet_new_with_thread_factory(nullptr, &listener, nullptr));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "property");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_initialize"), 0);
}

TEST_F(Object, a_record_without_memory_is_not_initialized)
{
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail();
    expectNothing(DDS_AsyncWaitSet_new_with_listener(&property, &listener));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
               static_cast<int>(sizeof(DDS_AsyncWaitSet)));
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_initialize"), 0);
}

TEST_F(Object, a_record_that_cannot_be_initialized_is_freed)
{
    doubles.on("DDS_AsyncWaitSet_initialize").fail();
    expectNothing(DDS_AsyncWaitSet_new_with_listener(&property, &listener));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INIT_FAILURE_s, "DDS_AsyncWaitSet");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(Object, creation_fails_without_globals_and_without_a_factory)
{
    doubles.on("DDS_AsyncWaitSetGlobals_get_instance").fail();
    expectNothing(DDS_AsyncWaitSet_new_with_listener(&property, &listener));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"globals == ((void *)0)\"");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INIT_FAILURE_s, "DDS_AsyncWaitSet");
    EXPECT_LOG_COUNT(log, 2U);
    log.clear();
    doubles.on("DDS_DomainParticipantFactory_get_instance").fail();
    expectNothing(DDS_AsyncWaitSet_new_with_listener(&property, &listener));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"factory == ((void *)0)\"");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INIT_FAILURE_s, "DDS_AsyncWaitSet");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(Object, deleting_null_is_refused)
{
    EXPECT_EQ(DDS_AsyncWaitSet_delete(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_finalize"), 0);
}

TEST_F(Object, a_deletion_that_failed_keeps_the_object_and_may_be_repeated)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    ASSERT_NE(aws, nullptr);
    const size_t withObject = ZYLOsapiHeap_getBlockCount();
    doubles.on("DDS_AsyncWaitSet_finalize").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_finalize");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), withObject);
    EXPECT_NE(DDS_AsyncWaitSet_get_waitsetI(aws), nullptr);
    deleteWell(aws);
}

TEST_F(Object, a_living_token_keeps_the_object_and_leaves_it_usable)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    ASSERT_NE(aws, nullptr);
    HandledGuard guard;
    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(aws);
    ASSERT_NE(token, nullptr);
    EXPECT_NO_LOG(log);

    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_DELETE_s,
               "AsyncWaitSet. There are alive completion tokens created from this object.");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_finalize");
    EXPECT_LOG_COUNT(log, 2U);
    log.clear();

    EXPECT_NE(DDS_AsyncWaitSet_isHandlerAttached(aws, guard.condition()), 0) << "nothing was changed";
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition_with_completion_token(aws, guard.condition(), token), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
    deleteWell(aws);
    EXPECT_NO_LOG(log);
}

TEST_F(Object, the_property_is_read_out_as_a_deep_copy)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    ASSERT_NE(aws, nullptr);
    DDS_AsyncWaitSetProperty_t out;
    DDS_AsyncWaitSetProperty_t_initialize(&out);
    EXPECT_EQ(DDS_AsyncWaitSet_get_property(aws, &out), DDS_RETCODE_OK);
    EXPECT_EQ(out.thread_pool_size, 2U);
    EXPECT_EQ(out.level, 3);
    EXPECT_STREQ(out.thread_name_prefix, "prefix");
    EXPECT_NE(out.thread_name_prefix, aws->_property.thread_name_prefix);
    EXPECT_NE(aws->_property.thread_name_prefix, property.thread_name_prefix);
    deleteWell(aws);
    EXPECT_STREQ(out.thread_name_prefix, "prefix");
    DDS_AsyncWaitSetProperty_t_finalize(&out);
    EXPECT_NO_LOG(log);
}

TEST_F(Object, a_property_that_cannot_be_read_out_is_an_error)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    ASSERT_NE(aws, nullptr);
    DDS_AsyncWaitSetProperty_t out;
    DDS_AsyncWaitSetProperty_t_initialize(&out);
    EXPECT_EQ(DDS_AsyncWaitSet_get_property(nullptr, &out), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_EQ(DDS_AsyncWaitSet_get_property(aws, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "property");
    EXPECT_EQ(DDS_AsyncWaitSet_get_property(nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG_COUNT(log, 3U);
    log.clear();
    doubles.on("DDS_AsyncWaitSetProperty_t_copy").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_get_property(aws, &out), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "copy property");
    EXPECT_LOG_COUNT(log, 1U);
    DDS_AsyncWaitSetProperty_t_finalize(&out);
    deleteWell(aws);
}

TEST_F(Object, the_shared_wait_set_is_available_to_the_library)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    ASSERT_NE(aws, nullptr);
    EXPECT_NE(DDS_AsyncWaitSet_get_waitsetI(aws), nullptr);
    EXPECT_EQ(DDS_AsyncWaitSet_get_waitsetI(aws), aws->_sharedWaitSet);
    deleteWell(aws);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(DDS_AsyncWaitSet_get_waitsetI(nullptr), nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(Object, a_new_object_is_at_rest)
{
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new_with_listener(&property, &listener);
    ASSERT_NE(aws, nullptr);
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
    DDS_ConditionSeq conditions = DDS_SEQUENCE_INITIALIZER;
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &conditions), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&conditions), 0);
    DDS_ConditionSeq_finalize(&conditions);
    for (DDS_UnsignedLong i = 0; i < 2; ++i) EXPECT_EQ(aws->_threadPool[i]._threadHandle, nullptr);
    deleteWell(aws);
    EXPECT_TRUE(recorder.events().empty());
    EXPECT_NO_LOG(log);
}

}  // namespace
