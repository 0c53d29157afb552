/// @file
/// Thread pool statistics: the empty record, the snapshot of a wait set in each of its states, copies, and failures.
// Replaces: VESKWorker_enterExclusiveArea VESKWorker_leaveExclusiveArea
// Replaces: ZYLOsapiThread_getCpuInfo ZYLOsapiHeap_reallocateMemoryInternal
#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_asyncwaitset_impl.h"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

namespace {

const char *const heap = "ZYLOsapiHeap_reallocateMemoryInternal";
const char *const ensureLength = "ensure length of thread pool info sequence";

class Stats : public testing::Test {
protected:
    void SetUp() override
    {
        blockCount = ZYLOsapiHeap_getBlockCount();
        doubles.on("ZYLOsapiThread_getCpuInfo").before([this](void *threadHandle, ZYLOsapiThreadCpuInfo *) {
            askedHandles.push_back(threadHandle);
            depthAtCpuInfo = VESKWorker_getExclusiveAreaDepth(DDS_AsyncWaitSetGlobals_getWorker(aws->_globals),
                                                              aws->_criticalSectionEA);
        });
        DDS_AsyncWaitSetThreadPoolStats_initialize(&stats);
    }

    void TearDown() override
    {
        DDS_AsyncWaitSetThreadPoolStats_finalize(&stats);
        if (aws != nullptr) {
            EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        }
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount);
    }

    void create(DDS_UnsignedLong poolSize, bool isStarted)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        const DDS_AsyncWaitSetListener hearing = listener.listener();
        aws = DDS_AsyncWaitSet_new_with_listener(&property, &hearing);
        ASSERT_NE(aws, nullptr);
        if (isStarted) {
            ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        }
    }

    ZYLOsapiThreadCpuInfoSeq *seq() { return &stats.thread_pool_info; }
    DDS_Long length() { return ZYLOsapiThreadCpuInfoSeq_get_length(seq()); }
    DDS_Long maximum() { return ZYLOsapiThreadCpuInfoSeq_get_maximum(seq()); }
    void take() { DDS_AsyncWaitSet_get_thread_pool_statsI(aws, &stats); }

    Doubles doubles;
    std::vector<void *> askedHandles;  ///< The threads whose CPU time was asked for, in order.
    int depthAtCpuInfo = 0;            ///< How often the critical section was held meanwhile.
    std::size_t blockCount = 0;
    RecordingListener listener;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetThreadPoolStats stats;
};

TEST_F(Stats, initialize_makes_the_empty_record_whatever_it_held_and_allocates_nothing)
{
    DDS_AsyncWaitSetThreadPoolStats record;
    std::memset(static_cast<void *>(&record), 0x5a, sizeof record);
    doubles.clear();
    DDS_AsyncWaitSetThreadPoolStats_initialize(&record);
    EXPECT_EQ(doubles.count(heap), 0);
    const ZYLOsapiThreadCpuInfoSeq &made = record.thread_pool_info;
    EXPECT_EQ(made._contiguous_buffer, nullptr);
    EXPECT_EQ(made._discontiguous_buffer, nullptr);
    EXPECT_EQ(made._read_token1, nullptr);
    EXPECT_EQ(made._read_token2, nullptr);
    EXPECT_EQ(made._maximum, 0u);
    EXPECT_EQ(made._length, 0u);
    EXPECT_EQ(made._sequence_init, 0x7344);
    EXPECT_EQ(made._owned, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(made._elementAllocParams.allocate_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(made._elementAllocParams.allocate_optional_members, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(made._elementAllocParams.allocate_memory, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(made._absolute_maximum, 0x7fffffffu);
    EXPECT_EQ(made._elementDeallocParams.delete_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(made._elementDeallocParams.delete_optional_members, DDS_BOOLEAN_TRUE);
}

TEST_F(Stats, null_arguments_are_only_reported_in_their_order)
{
    create(2, false);
    ZYLLog_g_detectPrecondition = 1;
    const LogCapture log(0xff);
    DDS_AsyncWaitSet_get_thread_pool_statsI(nullptr, nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1u);
    DDS_AsyncWaitSet_get_thread_pool_statsI(aws, nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "pool_stats");
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_EQ(ZYLLog_g_preconditionDetected, 0);
    ZYLLog_g_detectPrecondition = 0;
}

TEST_F(Stats, a_wait_set_that_is_not_started_gives_no_element_but_room_for_all)
{
    create(3, false);
    const LogCapture log(0xff);
    take();
    EXPECT_EQ(length(), 0);
    EXPECT_GE(maximum(), 3);
    EXPECT_TRUE(askedHandles.empty());
    EXPECT_NO_LOG(log);
}

TEST_F(Stats, a_started_wait_set_gives_its_threads_in_the_order_of_the_pool)
{
    for (const DDS_UnsignedLong poolSize : {1u, 3u}) {
        create(poolSize, true);
        askedHandles.clear();
        const LogCapture log(0xff);
        take();
        ASSERT_EQ(length(), static_cast<DDS_Long>(poolSize));
        EXPECT_NO_LOG(log);
        ASSERT_EQ(askedHandles.size(), poolSize);
        EXPECT_EQ(depthAtCpuInfo, 1);
        for (DDS_Long i = 0; i < length(); ++i) {
            const auto index = static_cast<std::size_t>(i);
            const ZYLOsapiThreadCpuInfo info = ZYLOsapiThreadCpuInfoSeq_get(seq(), i);
            EXPECT_EQ(askedHandles[index], aws->_threadPool[index]._threadHandle);
            EXPECT_EQ(info.id, aws->_threadPool[index]._threadId);
            EXPECT_GE(info.cpuTime.sec, 0);
            EXPECT_LT(info.cpuTime.sec, 3600);
        }
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        aws = nullptr;
    }
}

TEST_F(Stats, a_second_snapshot_allocates_nothing_and_a_stop_empties_the_record)
{
    create(2, true);
    take();
    const auto *const buffer = stats.thread_pool_info._contiguous_buffer;
    doubles.clear();
    take();
    EXPECT_EQ(doubles.count(heap), 0);
    EXPECT_EQ(stats.thread_pool_info._contiguous_buffer, buffer);
    EXPECT_EQ(length(), 2);

    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    doubles.clear();
    take();
    EXPECT_EQ(doubles.count(heap), 0);
    EXPECT_EQ(length(), 0);
    EXPECT_EQ(stats.thread_pool_info._contiguous_buffer, buffer);
}

TEST_F(Stats, the_element_of_a_thread_that_is_not_known_keeps_what_it_held)
{
    // A factory whose handles are its own.
    static const DDS_ThreadFactory real =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    static void *realHandle = nullptr;
    static int ownHandle = 0;
    const DDS_ThreadFactory factory = {nullptr,
                                       [](void *, const char *name, const DDS_ThreadSettings_t *settings,
                                          DDS_ThreadFactory_OnSpawnedFunction body, void *parameter) -> void * {
                                           realHandle =
                                               real.create_thread(real.factory_data, name, settings, body, parameter);
                                           return &ownHandle;
                                       },
                                       [](void *, void *) { real.delete_thread(real.factory_data, realHandle); }};
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    aws = DDS_AsyncWaitSet_new_with_thread_factory(&property, nullptr, &factory);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_ensure_length(seq(), 1, 1), 0);
    *ZYLOsapiThreadCpuInfoSeq_get_reference(seq(), 0) = {77, {88, 99}};
    const LogCapture log(0x7);
    take();
    ASSERT_EQ(length(), 1);
    EXPECT_EQ(askedHandles, std::vector<void *>{&ownHandle});
    const ZYLOsapiThreadCpuInfo info = ZYLOsapiThreadCpuInfoSeq_get(seq(), 0);
    EXPECT_EQ(info.id, 77u);
    EXPECT_EQ(info.cpuTime.sec, 88);
    EXPECT_EQ(info.cpuTime.frac, 99u);
    EXPECT_NO_LOG(log);
}

TEST_F(Stats, an_area_that_cannot_be_entered_leaves_the_record_alone)
{
    create(2, false);
    ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_ensure_length(seq(), 1, 1), 0);
    const LogCapture log(0xff);
    doubles.on("VESKWorker_enterExclusiveArea").with(aws->_criticalSectionEA).fail();
    take();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "enter");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(length(), 1);
    EXPECT_EQ(maximum(), 1);
}

TEST_F(Stats, an_area_that_cannot_be_left_is_reported_after_the_record_was_filled)
{
    create(2, true);
    const LogCapture log;
    doubles.on("VESKWorker_leaveExclusiveArea").with(aws->_criticalSectionEA).fail();
    take();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(length(), 2);
}

TEST_F(Stats, a_record_that_cannot_grow_is_reported_and_keeps_its_contents)
{
    for (const bool isStarted : {false, true}) {
        create(3, isStarted);
        ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_ensure_length(seq(), 2, 2), 0);
        ZYLOsapiThreadCpuInfoSeq_get_reference(seq(), 1)->id = 7;
        const LogCapture log;
        doubles.on(heap).failFrom(1);
        take();
        doubles.on(heap).heal();
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, ensureLength);
        ASSERT_FALSE(log.entries().empty());
        EXPECT_EQ(log.entries().back().function, "DDS_AsyncWaitSet_get_thread_pool_statsI");
        EXPECT_EQ(length(), 2);
        EXPECT_EQ(maximum(), 2);
        EXPECT_EQ(ZYLOsapiThreadCpuInfoSeq_get(seq(), 1).id, 7u);
        EXPECT_TRUE(askedHandles.empty());
        ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_finalize(seq()), 0);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        aws = nullptr;
    }
}

TEST_F(Stats, a_lent_buffer_that_is_too_short_fails_only_when_elements_are_needed)
{
    create(3, true);
    ZYLOsapiThreadCpuInfo lent[2] = {{1, {2, 3}}, {4, {5, 6}}};
    ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_loan_contiguous(seq(), lent, 2, 2), 0);
    {
        const LogCapture log;
        take();
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_SEQUENCE_NOT_OWNER);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, ensureLength);
        EXPECT_LOG_COUNT(log, 2u);
    }
    EXPECT_EQ(length(), 2);
    EXPECT_EQ(lent[0].id, 1u);
    EXPECT_EQ(lent[1].cpuTime.frac, 6u);
    EXPECT_TRUE(askedHandles.empty());

    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    const LogCapture log;
    take();
    EXPECT_NO_LOG(log);
    EXPECT_EQ(length(), 0);
    ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_unloan(seq()), 0);
}

TEST_F(Stats, a_pool_too_large_for_a_sequence_is_reported_without_touching_it)
{
    create(2, false);
    for (const int isStarted : {0, 1}) {
        aws->_property.thread_pool_size = 0x80000000u;
        aws->_isStarted = isStarted;
        doubles.clear();
        const LogCapture log;
        take();
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, ensureLength);
        EXPECT_LOG_COUNT(log, 1u);
        EXPECT_EQ(doubles.count(heap), 0);
        EXPECT_EQ(maximum(), 0);
    }
    aws->_property.thread_pool_size = 2;
    aws->_isStarted = 0;
}

TEST_F(Stats, a_copy_has_equal_elements_in_a_buffer_of_its_own)
{
    create(3, true);
    take();
    DDS_AsyncWaitSetThreadPoolStats copy;
    DDS_AsyncWaitSetThreadPoolStats_initialize(&copy);
    const LogCapture log;
    EXPECT_EQ(DDS_AsyncWaitSetThreadPoolStats_copy(&copy, &stats), &copy);
    ASSERT_EQ(ZYLOsapiThreadCpuInfoSeq_get_length(&copy.thread_pool_info), 3);
    EXPECT_NE(copy.thread_pool_info._contiguous_buffer, stats.thread_pool_info._contiguous_buffer);
    for (DDS_Long i = 0; i < 3; ++i) {
        const ZYLOsapiThreadCpuInfo left = ZYLOsapiThreadCpuInfoSeq_get(seq(), i);
        const ZYLOsapiThreadCpuInfo right = ZYLOsapiThreadCpuInfoSeq_get(&copy.thread_pool_info, i);
        EXPECT_EQ(left.id, right.id);
        EXPECT_EQ(left.cpuTime.sec, right.cpuTime.sec);
        EXPECT_EQ(left.cpuTime.frac, right.cpuTime.frac);
    }
    EXPECT_NO_LOG(log);
    DDS_AsyncWaitSetThreadPoolStats_finalize(&copy);
    EXPECT_EQ(ZYLOsapiThreadCpuInfoSeq_get_maximum(&copy.thread_pool_info), 0);
}

TEST_F(Stats, a_copy_into_a_loan_that_is_too_short_is_null)
{
    create(3, true);
    take();
    ZYLOsapiThreadCpuInfo lent[2] = {};
    DDS_AsyncWaitSetThreadPoolStats copy;
    DDS_AsyncWaitSetThreadPoolStats_initialize(&copy);
    ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_loan_contiguous(&copy.thread_pool_info, lent, 1, 2), 0);
    const LogCapture log;
    EXPECT_EQ(DDS_AsyncWaitSetThreadPoolStats_copy(&copy, &stats), nullptr);
    EXPECT_GE(log.entries().size(), 1u);
    EXPECT_EQ(ZYLOsapiThreadCpuInfoSeq_get_length(&copy.thread_pool_info), 1);
    EXPECT_EQ(lent[0].id, 0u);
    ASSERT_NE(ZYLOsapiThreadCpuInfoSeq_unloan(&copy.thread_pool_info), 0);
}

}  // namespace
