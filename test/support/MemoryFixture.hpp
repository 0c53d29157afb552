/// @file
/// A test in which memory can end, and after which every block of it has been given back.
#ifndef MEMORY_FIXTURE_HPP
#define MEMORY_FIXTURE_HPP

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
#include <gtest/gtest.h>

#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

class MemoryTest : public testing::Test {
protected:
    ~MemoryTest() override
    {
        doubles.heal();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocksBefore) << "blocks of memory are left";
    }

    /// After so many blocks more there is no memory, until `bringMemoryBack`.
    void endMemory(int blocksLeft = 0)
    {
        bringMemoryBack();
        doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").failFrom(blocksLeft + 1);
    }
    void bringMemoryBack() { doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").heal(); }

    const std::size_t blocksBefore = ZYLOsapiHeap_getBlockCount();
    Doubles doubles;
};

#endif
