/// @file
/// Pool threads from the outside: records, names and creation.

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiUtility_strncpy ZYLOsapiThread_createThreadName
// Replaces: ZYLOsapiThread_tssDestructorsAreEnabled DDS_AsyncWaitSetGlobals_deleteWorkerI
// Replaces: DDS_AsyncWaitSetGlobals_deleteDdsWorkerI DDS_String_free
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Double.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

using testing::ElementsAre;

#define FIELD(field_) offsetof(DDS_AsyncWaitSetThread, field_)
static_assert(FIELD(_owner) < FIELD(_threadName) && FIELD(_threadName) < FIELD(_threadHandle) &&
              FIELD(_threadHandle) < FIELD(_threadId) && FIELD(_threadId) < FIELD(_awsWorker) &&
              FIELD(_awsWorker) < FIELD(_ddsWorker) && FIELD(_ddsWorker) < FIELD(index) &&
              FIELD(index) < FIELD(_lastRequestCount) && FIELD(_lastRequestCount) < FIELD(_lockedConditionInfo));
#undef FIELD

/// The functions of a thread factory.
using CreateThread = std::remove_pointer_t<DDS_ThreadFactory_CreateThreadCallback>;
using DeleteThread = std::remove_pointer_t<DDS_ThreadFactory_DeleteThreadCallback>;
doubled::LocalDouble<CreateThread> createThread("create", {.failure = nullptr, .shown = {1}});
doubled::LocalDouble<DeleteThread> deleteThread("join");

/// A thread factory that starts nothing; it keeps what it is asked for.
struct PaperFactory {
    struct Request {
        std::string name;
        const DDS_ThreadSettings_t *settings;
        DDS_ThreadFactory_OnSpawnedFunction body;
        void *argument;
    };
    std::vector<Request> requests;

    DDS_ThreadFactory factory()
    {
        return {this,
                [](void *data, const char *name, const DDS_ThreadSettings_t *settings,
                   DDS_ThreadFactory_OnSpawnedFunction body, void *argument) {
                    auto &self = *static_cast<PaperFactory *>(data);
                    self.requests.push_back({name, settings, body, argument});
                    return createThread.callOr([&](auto...) -> void * { return &self.requests; }, data, name, settings,
                                               body, argument);
                },
                [](void *data, void *handle) {
                    EXPECT_EQ(handle, &static_cast<PaperFactory *>(data)->requests);
                    deleteThread.callOr([](auto...) {}, data, handle);
                }};
    }
};

class Thread : public testing::Test {
protected:
    Thread()
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(3, 1, "prefix");
        const DDS_ThreadFactory factory = paper.factory();
        aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, nullptr, &factory);
        // No worker of these tests was made by the globals.
        for (const char *service :
             {"DDS_AsyncWaitSetGlobals_deleteWorkerI", "DDS_AsyncWaitSetGlobals_deleteDdsWorkerI"})
            doubles.on(service).instead([] {});
        doubles.on("ZYLOsapiThread_tssDestructorsAreEnabled").unnoted();
        doubles.on("ZYLOsapiHeap_reallocateMemoryInternal")
            .as([](void **, size_t size, int alignment, int reallocate, int flag, const char *routine,
                   ZYLOsapiAllocKind kind, const char *typeName) {
                return LogCapture::format("heap(%zu %d %d %d %s %s %s)", size, alignment, reallocate, flag, routine,
                                          kind == ZYL_OSAPI_STRING_ALLOC ? "string" : "other", typeName);
            });
        doubles.clear();
    }
    ~Thread() override
    {
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    Thread(const Thread &) = delete;
    Thread &operator=(const Thread &) = delete;

    DDS_AsyncWaitSetThread &record(int index) const { return aws->_threadPool[index]; }

    const size_t blocks = (DDS_AsyncWaitSetGlobals_get_instance(), ZYLOsapiHeap_getBlockCount());
    PaperFactory paper;
    DDS_AsyncWaitSet *aws = nullptr;
    LogCapture log;
    Doubles doubles;
};

// ---------------------------------------------------------------- records

TEST_F(Thread, an_initialized_record_belongs_to_its_owner_and_is_empty)
{
    DDS_AsyncWaitSetThread thread;
    std::memset(static_cast<void *>(&thread), 0xa5, sizeof thread);
    EXPECT_EQ(DDS_AsyncWaitSetThread_initialize(&thread, aws), 1);
    DDS_AsyncWaitSetThread expected = {};
    expected._owner = aws;
    EXPECT_EQ(std::memcmp(&thread, &expected, sizeof thread), 0);
    EXPECT_NO_LOG(log);
}

TEST_F(Thread, a_record_needs_itself_and_an_owner)
{
    DDS_AsyncWaitSetThread thread;
    std::memset(static_cast<void *>(&thread), 0xa5, sizeof thread);
    EXPECT_EQ(DDS_AsyncWaitSetThread_initialize(nullptr, nullptr), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_AsyncWaitSetThread_initialize(&thread, nullptr), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"owner == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(thread.index, static_cast<DDS_Long>(0xa5a5a5a5U)) << "the record is not touched";
}

TEST_F(Thread, a_finalized_record_has_released_handle_worker_and_name_in_this_order)
{
    VESKWorker awsWorker = {};
    VESKWorker ddsWorker = {};
    DDS_AsyncWaitSetThread &thread = record(1);
    thread._threadHandle = &paper.requests;
    thread._awsWorker = &awsWorker;
    thread._ddsWorker = doubles.name(&ddsWorker, "dds worker");
    thread._threadName = DDS_String_dup("name");
    doubles.clear();
    DDS_AsyncWaitSetThread_finalize(&thread);
    EXPECT_THAT(doubles.calls(),
                ElementsAre("join", "DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(dds worker)", "DDS_String_free(name)"));
    EXPECT_EQ(thread._threadHandle, nullptr);
    EXPECT_EQ(thread._awsWorker, &awsWorker) << "it ends with its thread";
    EXPECT_EQ(thread._ddsWorker, nullptr);
    EXPECT_EQ(thread._threadName, nullptr);
    EXPECT_EQ(thread._owner, aws);

    doubles.clear();
    DDS_AsyncWaitSetThread_finalize(&thread);
    EXPECT_THAT(doubles.calls(), ElementsAre());
    EXPECT_NO_LOG(log);
}

TEST_F(Thread, without_storage_destructors_the_record_deletes_its_first_worker_too)
{
    VESKWorker awsWorker = {};
    doubles.on("ZYLOsapiThread_tssDestructorsAreEnabled").failFrom(1);
    record(0)._awsWorker = doubles.name(&awsWorker, "aws worker");
    DDS_AsyncWaitSetThread_finalize(&record(0));
    EXPECT_THAT(doubles.calls(), ElementsAre("DDS_AsyncWaitSetGlobals_deleteWorkerI(aws worker)"));
    EXPECT_EQ(record(0)._awsWorker, nullptr);
}

// ---------------------------------------------------------------- names

class ThreadName : public testing::Test {
protected:
    /// The pieces that the name is composed of.
    void expectComposed(const char *prefix, int index, const char *pieces)
    {
        doubles.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_create_thread_name(name, prefix, index), 1);
        EXPECT_EQ(doubles.calls().back(), LogCapture::format("ZYLOsapiThread_createThreadName(%s)", pieces));
    }

    char name[ZYL_OSAPI_THREAD_NAME_SIZE] = "";
    LogCapture log{0xff};
    Doubles doubles;
};

TEST_F(ThreadName, a_name_is_composed_of_prefix_index_and_mark)
{
    expectComposed("abc", 7, "abc, 7, AWs");
    EXPECT_THAT(doubles.calls(),
                ElementsAre("ZYLOsapiUtility_strncpy(8, abc, 8)", "ZYLOsapiThread_createThreadName(abc, 7, AWs)"));
    EXPECT_THAT(name, testing::StartsWith("abc"));
    EXPECT_THAT(name, testing::HasSubstr("AWs"));
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadName, without_a_prefix_there_is_a_default_one)
{
    expectComposed(nullptr, 0, "mTe#####, 0, AWs");
    EXPECT_THAT(doubles.calls(), ElementsAre("ZYLOsapiThread_createThreadName(mTe#####, 0, AWs)"));
    expectComposed("", 1, "mTe#####, 1, AWs");
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadName, a_prefix_of_eight_characters_is_used_whole_and_silently)
{
    expectComposed("12345678", 2, "12345678, 2, AWs");
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadName, a_prefix_of_nine_characters_is_noted_and_shortened)
{
    expectComposed("123456789", 3, "12345678, 3, AWs");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_TRACE, ZYL_LOG_ANY_sssd, "Size of threadNamePrefix (", "123456789", ") bigger than",
               9);
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(ThreadName, a_prefix_that_cannot_be_copied_is_reported_with_nine_and_its_length)
{
    doubles.on("ZYLOsapiUtility_strncpy").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_create_thread_name(name, "abcde", 0), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 9, 5);
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_STREQ(name, "");
}

TEST_F(ThreadName, a_name_needs_a_buffer)
{
    EXPECT_EQ(DDS_AsyncWaitSet_create_thread_name(nullptr, "abc", 0), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"threadName == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_THAT(doubles.calls(), ElementsAre());
}

// ---------------------------------------------------------------- creation

TEST_F(Thread, creation_asks_the_factory_for_a_thread_that_runs_the_record)
{
    EXPECT_EQ(DDS_AsyncWaitSet_createThread(aws, 2), DDS_RETCODE_OK);
    ASSERT_EQ(paper.requests.size(), 1U);
    EXPECT_EQ(paper.requests[0].name, "prefixAWs02");
    EXPECT_EQ(paper.requests[0].settings, &aws->_property.thread_settings);
    EXPECT_EQ(paper.requests[0].body, &DDS_AsyncWaitSet_run);
    EXPECT_EQ(paper.requests[0].argument, &record(2));
    EXPECT_EQ(record(2).index, 2);
    EXPECT_EQ(record(2)._owner, aws);
    EXPECT_EQ(record(2)._threadHandle, &paper.requests);
    EXPECT_STREQ(record(2)._threadName, "prefixAWs02");
    EXPECT_EQ(record(1)._threadHandle, nullptr);
    EXPECT_THAT(doubles.calls(), ElementsAre("heap(17 -1 1 0 ZYLOsapiHeap_reallocateString string char)",
                                             "ZYLOsapiUtility_strncpy(8, prefix, 8)",
                                             "ZYLOsapiThread_createThreadName(prefix, 2, AWs)", "create(prefixAWs02)"));
    EXPECT_NO_LOG(log);
}

TEST_F(Thread, creation_recycles_the_record_of_a_former_thread_first)
{
    ASSERT_EQ(DDS_AsyncWaitSet_createThread(aws, 0), DDS_RETCODE_OK);
    VESKWorker ddsWorker = {};
    record(0)._ddsWorker = doubles.name(&ddsWorker, "dds worker");
    record(0)._lastRequestCount = 5;
    doubles.clear();
    ASSERT_EQ(DDS_AsyncWaitSet_createThread(aws, 0), DDS_RETCODE_OK);
    EXPECT_THAT(doubles.calls(),
                ElementsAre("join", "DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(dds worker)",
                            "DDS_String_free(prefixAWs00)", "heap(17 -1 1 0 ZYLOsapiHeap_reallocateString string char)",
                            "ZYLOsapiUtility_strncpy(8, prefix, 8)", "ZYLOsapiThread_createThreadName(prefix, 0, AWs)",
                            "create(prefixAWs00)"));
    EXPECT_EQ(record(0)._lastRequestCount, 0);
    EXPECT_EQ(record(0)._lockedConditionInfo, nullptr);
    EXPECT_EQ(record(0)._ddsWorker, nullptr);
    EXPECT_NO_LOG(log);
}

TEST_F(Thread, a_name_without_memory_creates_no_thread_and_reports_ok)
{
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_createThread(aws, 1), DDS_RETCODE_OK);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "allocate space for thread name");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_TRUE(paper.requests.empty());
    EXPECT_EQ(record(1)._threadHandle, nullptr);
    EXPECT_EQ(record(1)._threadName, nullptr);
}

TEST_F(Thread, a_failed_name_creates_no_thread_and_reports_ok)
{
    doubles.on("ZYLOsapiUtility_strncpy").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_createThread(aws, 1), DDS_RETCODE_OK);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 9, 6);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "AsyncWaitSet Thread Name");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_TRUE(paper.requests.empty());
    EXPECT_EQ(record(1)._threadHandle, nullptr);
}

TEST_F(Thread, a_factory_without_a_thread_is_an_error)
{
    doubles.on("create").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_createThread(aws, 1), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_CREATION_FAILURE_s, "processing thread");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(record(1)._threadHandle, nullptr);
    EXPECT_EQ(doubles.count("join"), 0);
}

TEST_F(Thread, creation_needs_a_wait_set)
{
    EXPECT_EQ(DDS_AsyncWaitSet_createThread(nullptr, 0), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_TRUE(paper.requests.empty());
}

}  // namespace
