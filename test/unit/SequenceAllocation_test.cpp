/// @file
/// The sequence and the heap: what it asks for, when it asks for nothing, and what it does when memory ends.
// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiHeap_freeMemoryInternal
#include <cstdint>
#include <string>

#include "SequenceFixture.hpp"

namespace {

/// What the heap saw since the last reset, and whether it is out of memory.
struct Heap {
    bool isEmpty = false;
    int allocations = 0;
    int frees = 0;
    std::size_t size = 0;
    int alignment = 0, reallocate = 0, flag = 0, freeFlag = 0, freeSize = 0;
    std::string routine, typeName, freeRoutine;
    ZYLOsapiAllocKind kind{}, freeKind{};
    void *freed = nullptr;
};
Heap heap;

}  // namespace

extern "C" {
int __real_ZYLOsapiHeap_reallocateMemoryInternal(void **, size_t, int, int, int, const char *, ZYLOsapiAllocKind,
                                                 const char *);
void __real_ZYLOsapiHeap_freeMemoryInternal(void *, int, const char *, ZYLOsapiAllocKind, int);

int __wrap_ZYLOsapiHeap_reallocateMemoryInternal(void **blockInOut, size_t size, int alignment, int reallocate,
                                                 int flag, const char *routine, ZYLOsapiAllocKind kind,
                                                 const char *typeName)
{
    ++heap.allocations;
    heap.size = size;
    heap.alignment = alignment;
    heap.reallocate = reallocate;
    heap.flag = flag;
    heap.routine = routine;
    heap.kind = kind;
    heap.typeName = typeName;
    if (heap.isEmpty) return 0;
    return __real_ZYLOsapiHeap_reallocateMemoryInternal(blockInOut, size, alignment, reallocate, flag, routine, kind,
                                                        typeName);
}

void __wrap_ZYLOsapiHeap_freeMemoryInternal(void *block, int flag, const char *routine, ZYLOsapiAllocKind kind,
                                            int size)
{
    if (block != nullptr) ++heap.frees;
    heap.freed = block;
    heap.freeFlag = flag;
    heap.freeRoutine = routine;
    heap.freeKind = kind;
    heap.freeSize = size;
    __real_ZYLOsapiHeap_freeMemoryInternal(block, flag, routine, kind, size);
}
}

template <class Api>
class SequenceAllocation : public SequenceFixture<Api> {
protected:
    SequenceAllocation() { heap = Heap{}; }
    ~SequenceAllocation() override { heap = Heap{}; }
    static int bytes(int count) { return count * static_cast<int>(sizeof(typename Api::Element)); }
};
TYPED_TEST_SUITE(SequenceAllocation, SequenceApis);

TYPED_TEST(SequenceAllocation, a_buffer_is_one_heap_array_of_exactly_the_maximum)
{
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 5));
    EXPECT_EQ(heap.allocations, 1);
    EXPECT_EQ(heap.size, 5 * sizeof(typename TypeParam::Element));
    EXPECT_EQ(heap.alignment, -1);
    EXPECT_EQ(heap.reallocate, 0);
    EXPECT_EQ(heap.flag, 0);
    EXPECT_EQ(heap.routine, "ZYLOsapiHeap_allocateArray");
    EXPECT_EQ(heap.kind, ZYL_OSAPI_ARRAY_ALLOC);
    EXPECT_EQ(heap.typeName, "T");

    void *buffer = this->seq._contiguous_buffer;
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 0));
    EXPECT_EQ(heap.allocations, 1);
    EXPECT_EQ(heap.frees, 1);
    EXPECT_EQ(heap.freed, buffer);
    EXPECT_EQ(heap.freeFlag, 0);
    EXPECT_EQ(heap.freeRoutine, "ZYLOsapiHeap_freeArray");
    EXPECT_EQ(heap.freeKind, ZYL_OSAPI_ARRAY_ALLOC);
    EXPECT_EQ(heap.freeSize, -1);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceAllocation, lengths_within_the_capacity_and_copies_that_fit_never_allocate)
{
    this->fill(this->seq, 4, 8);
    this->fill(this->other, 2, 8);
    heap = Heap{};
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 8));
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 3, 100));
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 8));
    EXPECT_EQ(TypeParam::copy(&this->other, &this->seq), &this->other);
    EXPECT_TRUE(TypeParam::from_array(&this->other, this->elements.data(), 8));
    EXPECT_TRUE(TypeParam::to_array(&this->other, this->elements.data(), 8));
    EXPECT_EQ(heap.allocations, 0);
    EXPECT_EQ(heap.frees, 0);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceAllocation, growth_allocates_once_and_exactly_what_was_asked_for)
{
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 3));
    EXPECT_EQ(heap.allocations, 1);
    EXPECT_EQ(heap.size, 3 * sizeof(typename TypeParam::Element));
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 4, 6));
    EXPECT_EQ(heap.allocations, 2);
    EXPECT_EQ(heap.size, 6 * sizeof(typename TypeParam::Element));
    EXPECT_EQ(heap.frees, 1);
}

TYPED_TEST(SequenceAllocation, set_maximum_without_memory_leaves_the_record_as_it_was)
{
    this->fill(this->seq, 3, 4);
    const auto before = this->seq;
    heap.isEmpty = true;
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
    heap.isEmpty = true;
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
    heap = Heap{};
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
    EXPECT_EQ(heap.allocations, 0);
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
}

TYPED_TEST(SequenceAllocation, the_largest_byte_count_is_asked_for_and_printed_in_full)
{
    heap.isEmpty = true;
    const int count = (INT32_MAX - 1) / static_cast<int>(sizeof(typename TypeParam::Element));
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, count));
    EXPECT_EQ(heap.allocations, 1);
    EXPECT_EQ(heap.size, static_cast<std::size_t>(count) * sizeof(typename TypeParam::Element));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_MALLOC_FAILURE_d, this->bytes(count)}}));
}

TYPED_TEST(SequenceAllocation, delete_buffer_frees_an_array_and_only_that)
{
    this->fill(this->seq, 3, 4);
    auto *buffer = TypeParam::get_contiguous_bufferI(&this->seq);
    heap = Heap{};
    TypeParam::delete_bufferI(nullptr, buffer, 4, DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(this->printed({{"delete_bufferI", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    TypeParam::delete_bufferI(&this->seq, nullptr, 4, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(heap.frees, 0);

    const auto before = this->seq;
    TypeParam::delete_bufferI(&this->seq, buffer, -1, DDS_BOOLEAN_FALSE);  // neither of the two matters
    EXPECT_EQ(heap.frees, 1);
    EXPECT_EQ(heap.freed, buffer);
    EXPECT_EQ(heap.freeRoutine, "ZYLOsapiHeap_freeArray");
    EXPECT_EQ(heap.freeKind, ZYL_OSAPI_ARRAY_ALLOC);
    EXPECT_TRUE(this->isUnchanged(this->seq, before));  // the record is not told
    EXPECT_TRUE(this->printedNothing());
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
}
