/// @file
/// Three instances of the generic sequence for tests, each behind a type that names its operations: a record, a pointer
/// and a single byte as element.
#ifndef SEQUENCE_INSTANCES_HPP
#define SEQUENCE_INSTANCES_HPP

#include <cstdint>

#include "dds_c/dds_c_asyncwaitset_impl.h"
#include "dds_c/dds_c_condition.h"

/// The one-byte element, and its sequence.
using TestByte = std::uint8_t;
DDS_SEQUENCE(TestByteSeq, TestByte);

// All operations of the instance TSeq of T, as members of a type.
#define TEST_SEQUENCE_API(TSeq, T)                                                                    \
    using Seq = TSeq;                                                                                 \
    using Element = T;                                                                                \
    static constexpr const char *name = #TSeq;                                                        \
    static constexpr auto *initialize = &TSeq##_initialize;                                           \
    static constexpr auto *finalize = &TSeq##_finalize;                                               \
    static constexpr auto *get_maximum = &TSeq##_get_maximum;                                         \
    static constexpr auto *set_maximum = &TSeq##_set_maximum;                                         \
    static constexpr auto *set_absolute_maximum = &TSeq##_set_absolute_maximum;                       \
    static constexpr auto *get_length = &TSeq##_get_length;                                           \
    static constexpr auto *set_length = &TSeq##_set_length;                                           \
    static constexpr auto *ensure_length = &TSeq##_ensure_length;                                     \
    static constexpr auto *get = &TSeq##_get;                                                         \
    static constexpr auto *get_reference = &TSeq##_get_reference;                                     \
    static constexpr auto *has_ownership = &TSeq##_has_ownership;                                     \
    static constexpr auto *get_element_pointers_allocation = &TSeq##_get_element_pointers_allocation; \
    static constexpr auto *set_element_pointers_allocation = &TSeq##_set_element_pointers_allocation; \
    static constexpr auto *set_element_allocation_params = &TSeq##_set_element_allocation_params;     \
    static constexpr auto *get_element_allocation_params = &TSeq##_get_element_allocation_params;     \
    static constexpr auto *set_element_deallocation_params = &TSeq##_set_element_deallocation_params; \
    static constexpr auto *get_element_deallocation_params = &TSeq##_get_element_deallocation_params; \
    static constexpr auto *get_read_tokenI = &TSeq##_get_read_tokenI;                                 \
    static constexpr auto *set_read_tokenI = &TSeq##_set_read_tokenI;                                 \
    static constexpr auto *copy = &TSeq##_copy;                                                       \
    static constexpr auto *copy_no_alloc = &TSeq##_copy_no_alloc;                                     \
    static constexpr auto *copy_no_allocI = &TSeq##_copy_no_allocI;                                   \
    static constexpr auto *from_array = &TSeq##_from_array;                                           \
    static constexpr auto *to_array = &TSeq##_to_array;                                               \
    static constexpr auto *loan_contiguous = &TSeq##_loan_contiguous;                                 \
    static constexpr auto *loan_discontiguous = &TSeq##_loan_discontiguous;                           \
    static constexpr auto *unloan = &TSeq##_unloan;                                                   \
    static constexpr auto *get_contiguous_buffer = &TSeq##_get_contiguous_buffer;                     \
    static constexpr auto *get_contiguous_bufferI = &TSeq##_get_contiguous_bufferI;                   \
    static constexpr auto *get_discontiguous_buffer = &TSeq##_get_discontiguous_buffer;               \
    static constexpr auto *get_discontiguous_bufferI = &TSeq##_get_discontiguous_bufferI;             \
    static constexpr auto *delete_bufferI = &TSeq##_delete_bufferI;                                   \
    static constexpr auto *check_invariantsI = &TSeq##_check_invariantsI

struct CpuInfoApi {
    TEST_SEQUENCE_API(ZYLOsapiThreadCpuInfoSeq, ZYLOsapiThreadCpuInfo);
    /// Element number n, different for each n from 1 to 250; number 0 is all zero.
    static Element element(int n)
    {
        const auto value = static_cast<std::uint32_t>(n);
        return {0x100000000U * value, {-n, value}};
    }
    static bool isSame(const Element &a, const Element &b)
    {
        return a.id == b.id && a.cpuTime.sec == b.cpuTime.sec && a.cpuTime.frac == b.cpuTime.frac;
    }
};

struct ConditionApi {
    TEST_SEQUENCE_API(DDS_ConditionSeq, DDS_Condition_ptr);
    static Element element(int n)
    {
        static char places[251];  // never looked at as conditions
        return n == 0 ? nullptr : reinterpret_cast<DDS_Condition *>(&places[n]);
    }
    static bool isSame(Element a, Element b) { return a == b; }
};

struct ByteApi {
    TEST_SEQUENCE_API(TestByteSeq, TestByte);
    static Element element(int n) { return static_cast<TestByte>(n); }
    static bool isSame(Element a, Element b) { return a == b; }
};

#endif
