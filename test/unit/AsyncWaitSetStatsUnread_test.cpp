/// @file
/// Thread pool statistics when the CPU time of a thread cannot be read: the element is zero in a buffer that the
/// snapshot has made, and keeps what it held in one that was there.
// Replaces: ZYLOsapiThread_getCpuInfo ZYLOsapiHeap_reallocateMemoryInternal
#include <cstring>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_asyncwaitset_impl.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

namespace {

class StatsUnread : public testing::Test {
protected:
    static constexpr DDS_Long poolSize = 3;

    void SetUp() override
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        DDS_AsyncWaitSetThreadPoolStats_initialize(&stats);
        aws = DDS_AsyncWaitSet_new(&property);
        ASSERT_NE(aws, nullptr);
        ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        // Memory that somebody else has used, and a system that tells nothing.
        doubles.on("ZYLOsapiHeap_reallocateMemoryInternal")
            .after([](void **block, std::size_t size, int, int, int, const char *, ZYLOsapiAllocKind, const char *) {
                std::memset(*block, 0xAB, size);
            });
        doubles.on("ZYLOsapiThread_getCpuInfo").failFrom(1);
    }

    void TearDown() override
    {
        doubles.heal();
        DDS_AsyncWaitSetThreadPoolStats_finalize(&stats);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
    }

    void expectAll(DDS_UnsignedLongLong id, std::int64_t sec, std::uint32_t frac)
    {
        ASSERT_EQ(ZYLOsapiThreadCpuInfoSeq_get_length(&stats.thread_pool_info), poolSize);
        for (DDS_Long i = 0; i < poolSize; ++i) {
            const ZYLOsapiThreadCpuInfo info = ZYLOsapiThreadCpuInfoSeq_get(&stats.thread_pool_info, i);
            EXPECT_EQ(info.id, id) << i;
            EXPECT_EQ(info.cpuTime.sec, sec) << i;
            EXPECT_EQ(info.cpuTime.frac, frac) << i;
        }
    }

    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetThreadPoolStats stats;
    Doubles doubles;
};

TEST_F(StatsUnread, the_elements_of_a_fresh_record_are_zero)
{
    const LogCapture log(0x7);
    DDS_AsyncWaitSet_get_thread_pool_statsI(aws, &stats);
    EXPECT_EQ(doubles.count("ZYLOsapiThread_getCpuInfo"), poolSize);
    expectAll(0, 0, 0);
    EXPECT_NO_LOG(log);
}

TEST_F(StatsUnread, the_elements_of_a_record_that_has_room_keep_what_they_held)
{
    ZYLOsapiThreadCpuInfoSeq *const infos = &stats.thread_pool_info;
    ASSERT_TRUE(ZYLOsapiThreadCpuInfoSeq_ensure_length(infos, poolSize, poolSize));
    for (DDS_Long i = 0; i < poolSize; ++i) *ZYLOsapiThreadCpuInfoSeq_get_reference(infos, i) = {77, {88, 99}};
    ASSERT_TRUE(ZYLOsapiThreadCpuInfoSeq_set_length(infos, 0));
    DDS_AsyncWaitSet_get_thread_pool_statsI(aws, &stats);
    EXPECT_EQ(doubles.count("ZYLOsapiThread_getCpuInfo"), poolSize);
    expectAll(77, 88, 99);
}

}  // namespace
