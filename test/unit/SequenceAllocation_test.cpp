/// @file
/// The sequence and the heap: what it asks for, when it asks for nothing, and what it does when memory ends.

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiHeap_freeMemoryInternal
#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "SequenceFixture.hpp"
#include "doubles/Doubles.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

/// The calls of the heap are noted with all that it is told but the block's own place.
template <class Api>
class SequenceAllocation : public SequenceFixture<Api> {
protected:
    SequenceAllocation()
    {
        doubles.on(allocation)
            .as([](void **, size_t size, int alignment, int reallocate, int flag, const char *routine,
                   ZYLOsapiAllocKind kind, const char *typeName) {
                return LogCapture::format("%s(%zu, %d, %d, %d, %d, %s)", routine, size, alignment, reallocate, flag,
                                          kind, typeName);
            });
        doubles.on(release).as([](void *block, int flag, const char *routine, ZYLOsapiAllocKind kind, int size) {
            return LogCapture::format("%s(%s, %d, %d, %d)", routine, doubled::nameOf(block).c_str(), flag, kind, size);
        });
        doubles.on(release).with(nullptr).unnoted();
    }
    void TearDown() override
    {
        doubles.heal();
        SequenceFixture<Api>::TearDown();
    }

    void endMemory() { doubles.on(allocation).failFrom(1); }
    static std::size_t sizeOf(int count) { return static_cast<std::size_t>(count) * sizeof(typename Api::Element); }
    static int bytes(int count) { return static_cast<int>(sizeOf(count)); }
    /// How a buffer of so many elements is asked for, and given back.
    static std::string allocated(int count)
    {
        return LogCapture::format("ZYLOsapiHeap_allocateArray(%zu, -1, 0, 0, %d, T)", sizeOf(count),
                                  ZYL_OSAPI_ARRAY_ALLOC);
    }
    static std::string freed(const std::string &name)
    {
        return LogCapture::format("ZYLOsapiHeap_freeArray(%s, 0, %d, -1)", name.c_str(), ZYL_OSAPI_ARRAY_ALLOC);
    }

    static constexpr const char *allocation = "ZYLOsapiHeap_reallocateMemoryInternal";
    static constexpr const char *release = "ZYLOsapiHeap_freeMemoryInternal";
    Doubles doubles;
};
TYPED_TEST_SUITE(SequenceAllocation, SequenceApis);

TYPED_TEST(SequenceAllocation, a_buffer_is_one_heap_array_of_exactly_the_maximum)
{
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 5));
    this->doubles.name(this->seq._contiguous_buffer, "buffer");
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 0));
    EXPECT_THAT(this->doubles.calls(), ElementsAre(this->allocated(5), this->freed("buffer")));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceAllocation, lengths_within_the_capacity_and_copies_that_fit_never_allocate)
{
    this->fill(this->seq, 4, 8);
    this->fill(this->other, 2, 8);
    this->doubles.clear();
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 8));
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 3, 100));
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 8));
    EXPECT_EQ(TypeParam::copy(&this->other, &this->seq), &this->other);
    EXPECT_TRUE(TypeParam::from_array(&this->other, this->elements.data(), 8));
    EXPECT_TRUE(TypeParam::to_array(&this->other, this->elements.data(), 8));
    EXPECT_THAT(this->doubles.calls(), IsEmpty());
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceAllocation, growth_allocates_once_and_exactly_what_was_asked_for)
{
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 3));
    this->doubles.name(this->seq._contiguous_buffer, "small buffer");
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 4, 6));
    EXPECT_THAT(this->doubles.calls(),
                ElementsAre(this->allocated(3), this->allocated(6), this->freed("small buffer")));
}

TYPED_TEST(SequenceAllocation, set_maximum_without_memory_leaves_the_record_as_it_was)
{
    this->fill(this->seq, 3, 4);
    const auto before = this->seq;
    this->endMemory();
    for (const DDS_Long maximum : {2, 9}) {
        EXPECT_FALSE(TypeParam::set_maximum(&this->seq, maximum));
        EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(maximum)}}));
        EXPECT_TRUE(this->isUnchanged(this->seq, before));
        EXPECT_TRUE(this->holds(this->seq, 3, 4));
    }
    EXPECT_TRUE(TypeParam::finalize(&this->seq));  // needs none
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceAllocation, growing_operations_without_memory_report_every_step)
{
    this->fill(this->seq, 3, 4);
    this->endMemory();
    EXPECT_FALSE(TypeParam::set_length(&this->seq, 5));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(5)},
                               {"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 4, 5}}));
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 5, 9));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(9)},
                               {"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 4, 9}}));
    EXPECT_EQ(TypeParam::copy(&this->other, &this->seq), nullptr);
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(4)}}));
    EXPECT_TRUE(this->isUnchanged(this->other, this->initialState()));
    EXPECT_FALSE(TypeParam::from_array(&this->other, this->elements.data(), 2));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(2)},
                               {"from_array", ZYL_LOG_ANY_FAILURE_s, "copy array sequence"}}));
    EXPECT_TRUE(this->isUnchanged(this->other, this->initialState()));
    EXPECT_TRUE(this->holds(this->seq, 3, 4));
}

TYPED_TEST(SequenceAllocation, a_byte_count_that_overflows_fails_without_asking_the_heap)
{
    this->fill(this->seq, 3, 4);
    const auto before = this->seq;
    this->doubles.clear();
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, 0x7FFFFFFF));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, INT32_MAX}}));
    EXPECT_FALSE(TypeParam::set_length(&this->seq, 0x7FFFFFFF));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, INT32_MAX},
                               {"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 4, INT32_MAX}}));
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 5, 0x7FFFFFFF));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, INT32_MAX},
                               {"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 4, INT32_MAX}}));

    // The smallest count that is too large for this element.
    const int count = (INT32_MAX - 1) / static_cast<int>(sizeof(typename TypeParam::Element)) + 1;
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, count));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, INT32_MAX}}));
    EXPECT_THAT(this->doubles.calls(), IsEmpty());
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
}

TYPED_TEST(SequenceAllocation, the_largest_byte_count_is_asked_for_and_printed_in_full)
{
    this->endMemory();
    const int count = (INT32_MAX - 1) / static_cast<int>(sizeof(typename TypeParam::Element));
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, count));
    EXPECT_THAT(this->doubles.calls(), ElementsAre(this->allocated(count)));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(count)}}));
}

TYPED_TEST(SequenceAllocation, delete_buffer_frees_an_array_and_only_that)
{
    this->fill(this->seq, 3, 4);
    auto *buffer = this->doubles.name(TypeParam::get_contiguous_bufferI(&this->seq), "buffer");
    this->doubles.clear();
    TypeParam::delete_bufferI(nullptr, buffer, 4, DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(this->printed({{"delete_bufferI", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    TypeParam::delete_bufferI(&this->seq, nullptr, 4, DDS_BOOLEAN_TRUE);
    EXPECT_THAT(this->doubles.calls(), IsEmpty());

    const auto before = this->seq;
    TypeParam::delete_bufferI(&this->seq, buffer, -1, DDS_BOOLEAN_FALSE);  // neither of the two matters
    EXPECT_THAT(this->doubles.calls(), ElementsAre(this->freed("buffer")));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));  // the record is not told
    EXPECT_TRUE(this->printedNothing());
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
}
