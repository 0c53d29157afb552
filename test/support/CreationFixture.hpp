/// @file
/// What tests of building and tearing down a wait set share: the services that it is built from are doubled, and no
/// block of memory may be left at the end.
#ifndef CREATION_FIXTURE_HPP
#define CREATION_FIXTURE_HPP

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal VESKFastBufferPool_newWithParams ZYLOsapiUtility_strncpy
// Replaces: ZYLOsapiUtility_strncat VESKWorkerFactory_createExclusiveAreaEx DDS_WaitSet_newI
// Replaces: DDS_CountingCondition_newI DDS_WaitSet_attach_condition ZYLOsapiBarrier_new
// Replaces: DDS_AsyncWaitSetThread_initialize
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

class CreationTest : public testing::Test {
protected:
    CreationTest()
    {
        static_cast<void>(DDS_AsyncWaitSetGlobals_getWorker(globals));
        doubles.on(heap)
            .when([](void **, size_t size, int, int, int, const char *, ZYLOsapiAllocKind, const char *) {
                constexpr size_t memorySize = size_t{1} << 30;
                return size > memorySize;
            })
            .forGood()
            .failFrom(1);
    }
    ~CreationTest() override
    {
        doubles.heal();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    CreationTest(const CreationTest &) = delete;
    CreationTest &operator=(const CreationTest &) = delete;

    static constexpr const char *heap = "ZYLOsapiHeap_reallocateMemoryInternal";

    DDS_AsyncWaitSetGlobals *const globals = DDS_AsyncWaitSetGlobals_get_instance();
    const size_t blocks = ZYLOsapiHeap_getBlockCount();
    LogCapture log;
    Doubles doubles;
};

#endif
