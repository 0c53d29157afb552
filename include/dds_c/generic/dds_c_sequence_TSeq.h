/// @file
/// The generic bounded sequence, for C: one macro declares the record and the operations of an instance.
///
/// `DDS_SEQUENCE(TSeq, T)` declares `struct TSeq` and the functions `TSeq_initialize`, `TSeq_set_maximum`, and so on
/// for elements of type `T`. The twin macro in the `.hpp` beside this file defines them, once, in one source file of
/// C++17 or later. All instances share one implementation. For a sequence of your own:
///
///     typedef struct Point { int x, y; } Point;                       // point.h, for C and C++
///     #include <dds_c/generic/dds_c_sequence_TSeq.h>
///     DDS_SEQUENCE(PointSeq, Point);
///
///     #include <dds_c/generic/dds_c_sequence_TSeq.hpp>                // point.cpp
///     DDS_SEQUENCE_DEFINE(PointSeq, Point);
///
/// Elements are copied as bytes and never constructed or destroyed: `T` is a type of C, or a trivially copyable one of
/// C++ whose values can be copied. It is aligned to 16 bytes at most. A type that is not written as `T name` (an array,
/// a pointer to a function), or whose name has a comma, is given another name first.
///
/// A sequence owns its buffer, or works in a buffer that was lent to it: an array of elements (contiguous) or an array
/// of pointers to elements (discontiguous). A record that is all zero, or whose `_sequence_init` is not
/// DDS_SEQUENCE_MAGIC_NUMBER, becomes an empty, owned sequence at its first use.
///
/// An owned buffer has fewer than 0x7FFFFFFF bytes. A capacity that needs more is refused as if memory had ended.
///
/// Protection: none. A sequence belongs to one thread at a time. Nothing blocks. Failures are logged at level 2 and
/// reported by the result; a null `self` fails every operation unless its line below says otherwise.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_H
#define DDS_C_GENERIC_SEQUENCE_TSEQ_H

#include "../dds_c_common.h"

/// Value of `_sequence_init` in an initialized record.
#define DDS_SEQUENCE_MAGIC_NUMBER ((DDS_Long)0x7344)
/// Upper bound of `_maximum` unless TSeq_set_absolute_maximum lowers it.
#define DDS_SEQUENCE_ABSOLUTE_MAXIMUM_DEFAULT ((DDS_UnsignedLong)0x7FFFFFFF)

#ifdef __cplusplus
extern "C" {
#endif

/// How element memory is provided, as kept in a sequence.
typedef struct DDS_SeqElementTypeAllocationParams_t {
    DDS_Boolean allocate_pointers;          ///< Kept for element types with pointers.
    DDS_Boolean allocate_optional_members;  ///< Kept for element types with optional members.
    DDS_Boolean allocate_memory;            ///< Must be true for a sequence that allocates.
} DDS_SeqElementTypeAllocationParams_t;

/// How element memory is released, as kept in a sequence.
typedef struct DDS_SeqElementTypeDeallocationParams_t {
    DDS_Boolean delete_pointers;          ///< Kept for element types with pointers.
    DDS_Boolean delete_optional_members;  ///< Kept for element types with optional members.
} DDS_SeqElementTypeDeallocationParams_t;

/// The same three choices, as arguments.
typedef struct DDS_TypeAllocationParams_t {
    DDS_Boolean allocate_pointers;          ///< See DDS_SeqElementTypeAllocationParams_t.
    DDS_Boolean allocate_optional_members;  ///< See DDS_SeqElementTypeAllocationParams_t.
    DDS_Boolean allocate_memory;            ///< See DDS_SeqElementTypeAllocationParams_t.
} DDS_TypeAllocationParams_t;

/// The same two choices, as arguments.
typedef struct DDS_TypeDeallocationParams_t {
    DDS_Boolean delete_pointers;          ///< See DDS_SeqElementTypeDeallocationParams_t.
    DDS_Boolean delete_optional_members;  ///< See DDS_SeqElementTypeDeallocationParams_t.
} DDS_TypeDeallocationParams_t;

/// { true, false, true }
DDS_API extern const struct DDS_TypeAllocationParams_t DDS_TYPE_ALLOCATION_PARAMS_DEFAULT;
/// { true, true }
DDS_API extern const struct DDS_TypeDeallocationParams_t DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT;

#ifdef __cplusplus
}
#endif

/// An empty, owned sequence, for static or automatic records.
#define DDS_SEQUENCE_INITIALIZER                                                                            \
    {                                                                                                       \
        NULL, NULL, NULL, NULL, 0, 0, DDS_SEQUENCE_MAGIC_NUMBER, DDS_BOOLEAN_TRUE,                          \
            {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE}, DDS_SEQUENCE_ABSOLUTE_MAXIMUM_DEFAULT, \
        {                                                                                                   \
            DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE                                                              \
        }                                                                                                   \
    }

#ifdef __cplusplus
#define DDS_SEQUENCE_EXTERN_C_ extern "C"
#else
#define DDS_SEQUENCE_EXTERN_C_ extern
#endif

#if defined(__cplusplus) && defined(__clang__)
// In C++ an element may be of a type that C does not know. `get` returns it in the same way all the same.
#define DDS_SEQUENCE_BEGIN_ \
    _Pragma("clang diagnostic push") _Pragma("clang diagnostic ignored \"-Wreturn-type-c-linkage\"")
#define DDS_SEQUENCE_END_ _Pragma("clang diagnostic pop")
#else
#define DDS_SEQUENCE_BEGIN_
#define DDS_SEQUENCE_END_
#endif

// The operations, once for their declarations and their definitions: OPERATION(TSeq, result, name, parameters,
// arguments of the algorithm of the same name). `__func__` is the name of the operation.
// clang-format off
#define DDS_SEQUENCE_OPERATIONS_(OPERATION, TSeq, T) \
    OPERATION(TSeq, DDS_Boolean, initialize, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, DDS_Boolean, finalize, (TSeq *self), (self)) \
    OPERATION(TSeq, DDS_Long, get_maximum, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, DDS_Boolean, set_maximum, (TSeq *self, DDS_Long new_max), (self, new_max, __func__)) \
    OPERATION(TSeq, DDS_Boolean, set_absolute_maximum, (TSeq *self, DDS_Long new_absolute_max), \
              (self, new_absolute_max, __func__)) \
    OPERATION(TSeq, DDS_Long, get_length, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, DDS_Boolean, set_length, (TSeq *self, DDS_UnsignedLong new_length), (self, new_length, __func__)) \
    OPERATION(TSeq, DDS_Boolean, ensure_length, (TSeq *self, DDS_Long length, DDS_Long max), \
              (self, length, max, __func__)) \
    OPERATION(TSeq, T, get, (TSeq *self, DDS_Long index), (self, index, __func__)) \
    OPERATION(TSeq, T *, get_reference, (TSeq *self, DDS_Long index), (self, index, __func__)) \
    OPERATION(TSeq, DDS_Boolean, has_ownership, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, DDS_Boolean, get_element_pointers_allocation, (TSeq *self), (self)) \
    OPERATION(TSeq, DDS_Boolean, set_element_pointers_allocation, (TSeq *self, DDS_Boolean flag), \
              (self, flag, __func__)) \
    OPERATION(TSeq, DDS_Boolean, set_element_allocation_params, \
              (TSeq *self, const struct DDS_TypeAllocationParams_t *params), (self, params, __func__)) \
    OPERATION(TSeq, void, get_element_allocation_params, (TSeq *self, struct DDS_TypeAllocationParams_t *params), \
              (self, params, __func__)) \
    OPERATION(TSeq, DDS_Boolean, set_element_deallocation_params, \
              (TSeq *self, const struct DDS_TypeDeallocationParams_t *params), (self, params, __func__)) \
    OPERATION(TSeq, void, get_element_deallocation_params, (TSeq *self, struct DDS_TypeDeallocationParams_t *params), \
              (self, params, __func__)) \
    OPERATION(TSeq, void, get_read_tokenI, (TSeq *self, void **token1, void **token2), \
              (self, token1, token2, __func__)) \
    OPERATION(TSeq, void, set_read_tokenI, (TSeq *self, void *token1, void *token2), \
              (self, token1, token2, __func__)) \
    OPERATION(TSeq, TSeq *, copy, (TSeq *self, const TSeq *src), (self, src, __func__)) \
    OPERATION(TSeq, DDS_Boolean, copy_no_alloc, (TSeq *self, const TSeq *src), (self, src, __func__)) \
    OPERATION(TSeq, DDS_Boolean, copy_no_allocI, (TSeq *self, const TSeq *src), (self, src, __func__)) \
    OPERATION(TSeq, DDS_Boolean, from_array, (TSeq *self, T const *array, DDS_Long length), \
              (self, array, length, __func__)) \
    OPERATION(TSeq, DDS_Boolean, to_array, (const TSeq *self, T *array, DDS_Long length), \
              (self, array, length, __func__)) \
    OPERATION(TSeq, DDS_Boolean, loan_contiguous, (TSeq *self, T *buffer, DDS_Long new_length, DDS_Long new_max), \
              (self, buffer, new_length, new_max, __func__)) \
    OPERATION(TSeq, DDS_Boolean, loan_discontiguous, (TSeq *self, T **buffer, DDS_Long new_length, DDS_Long new_max), \
              (self, buffer, new_length, new_max, __func__)) \
    OPERATION(TSeq, DDS_Boolean, unloan, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, T *, get_contiguous_buffer, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, T *, get_contiguous_bufferI, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, T **, get_discontiguous_buffer, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, T **, get_discontiguous_bufferI, (TSeq *self), (self, __func__)) \
    OPERATION(TSeq, void, delete_bufferI, (TSeq *self, T *buffer, DDS_Long maximum, DDS_Boolean flag), \
              (self, buffer, maximum, flag, __func__)) \
    OPERATION(TSeq, int, check_invariantsI, (TSeq *self, const char *operation), (self, operation, __func__))
// clang-format on

#define DDS_SEQUENCE_DECLARE_(TSeq, Result, name, parameters, arguments) \
    DDS_SEQUENCE_EXTERN_C_ DDS_API Result TSeq##_##name parameters;

/// Declare the sequence TSeq of T. Operations, where `0` is the failure value of a count and `false` of a boolean:
///
/// | operation | meaning |
/// |---|---|
/// | `initialize` | the empty, owned state, whatever the record held |
/// | `finalize` | the same as `set_maximum(self, 0)`; fails while a buffer is lent |
/// | `get_maximum`, `set_maximum` | capacity; setting reallocates to exactly this size and truncates; the new array |
/// | | is zero behind the elements |
/// | `set_absolute_maximum` | upper bound of the capacity; not below the present one |
/// | `get_length`, `set_length` | number of elements; growing beyond the capacity reallocates to exactly the length; |
/// | | within it nothing is cleared: an element that is added is what its place held |
/// | `ensure_length` | length, growing to the given maximum when needed |
/// | `get` | the element by value; logs a bad index and reads element 0 then (a zero element when there is none); |
/// | | `self` is not tested for null |
/// | `get_reference` | address of the element, null for a bad index |
/// | `has_ownership` | whether the buffer is the sequence's own |
/// | `get_` / `set_element_pointers_allocation` | one flag; set only while the capacity is 0; `self` not tested |
/// | `get_` / `set_element_allocation_params` | all allocation flags; set only while the capacity is 0 |
/// | `get_` / `set_element_deallocation_params` | both release flags; at any time |
/// | `get_read_tokenI`, `set_read_tokenI` | two opaque values of the code that lends data |
/// | `copy` | copy with growth to the source's capacity; `self`, or null |
/// | `copy_no_alloc`, `copy_no_allocI` | copy that never allocates; the `I` form checks no arguments |
/// | `from_array`, `to_array` | from and to a plain array of `length` elements |
/// | `loan_contiguous`, `loan_discontiguous` | work in the caller's buffer; the capacity must be 0 |
/// | `unloan` | give the buffer back; the sequence is empty and owned again |
/// | `get_contiguous_buffer`, `get_discontiguous_buffer` (and `I`) | the raw buffer, null if none |
/// | `delete_bufferI` | free a buffer as the sequence would |
/// | `check_invariantsI` | 1 when the record is consistent; failures are logged under `operation` |
#define DDS_SEQUENCE(TSeq, T)                                                \
    DDS_SEQUENCE_BEGIN_                                                      \
    typedef struct TSeq {                                                    \
        T *_contiguous_buffer;                                               \
        T **_discontiguous_buffer;                                           \
        void *_read_token1;                                                  \
        void *_read_token2;                                                  \
        DDS_UnsignedLong _maximum;                                           \
        DDS_UnsignedLong _length;                                            \
        DDS_Long _sequence_init;                                             \
        DDS_Boolean _owned;                                                  \
        struct DDS_SeqElementTypeAllocationParams_t _elementAllocParams;     \
        DDS_UnsignedLong _absolute_maximum;                                  \
        struct DDS_SeqElementTypeDeallocationParams_t _elementDeallocParams; \
    } TSeq;                                                                  \
    DDS_SEQUENCE_OPERATIONS_(DDS_SEQUENCE_DECLARE_, TSeq, T)                 \
    DDS_SEQUENCE_END_                                                        \
    struct TSeq

#endif
