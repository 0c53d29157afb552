/// @file
/// The generic bounded sequence, for C: one macro declares the record and the operations of an instance.
///
/// `DDS_SEQUENCE(TSeq, T)` declares `struct TSeq` and the functions `TSeq_initialize`, `TSeq_set_maximum`, and so on
/// for elements of type `T`, which must be plain data. The twin macro in the `.hpp` beside this file defines them,
/// once, in one source file. All instances share one implementation.
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
#define DDS_SEQUENCE_OPERATION_ DDS_SEQUENCE_EXTERN_C_ DDS_API

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
#define DDS_SEQUENCE(TSeq, T)                                                                                         \
    typedef struct TSeq {                                                                                             \
        T *_contiguous_buffer;                                                                                        \
        T **_discontiguous_buffer;                                                                                    \
        void *_read_token1;                                                                                           \
        void *_read_token2;                                                                                           \
        DDS_UnsignedLong _maximum;                                                                                    \
        DDS_UnsignedLong _length;                                                                                     \
        DDS_Long _sequence_init;                                                                                      \
        DDS_Boolean _owned;                                                                                           \
        struct DDS_SeqElementTypeAllocationParams_t _elementAllocParams;                                              \
        DDS_UnsignedLong _absolute_maximum;                                                                           \
        struct DDS_SeqElementTypeDeallocationParams_t _elementDeallocParams;                                          \
    } TSeq;                                                                                                           \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_initialize(TSeq *self);                                                \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_finalize(TSeq *self);                                                  \
    DDS_SEQUENCE_OPERATION_ DDS_Long TSeq##_get_maximum(TSeq *self);                                                  \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_set_maximum(TSeq *self, DDS_Long new_max);                             \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_set_absolute_maximum(TSeq *self, DDS_Long new_absolute_max);           \
    DDS_SEQUENCE_OPERATION_ DDS_Long TSeq##_get_length(TSeq *self);                                                   \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_set_length(TSeq *self, DDS_UnsignedLong new_length);                   \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_ensure_length(TSeq *self, DDS_Long length, DDS_Long max);              \
    DDS_SEQUENCE_OPERATION_ T TSeq##_get(TSeq *self, DDS_Long index);                                                 \
    DDS_SEQUENCE_OPERATION_ T *TSeq##_get_reference(TSeq *self, DDS_Long index);                                      \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_has_ownership(TSeq *self);                                             \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_get_element_pointers_allocation(TSeq *self);                           \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_set_element_pointers_allocation(TSeq *self, DDS_Boolean flag);         \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_set_element_allocation_params(                                         \
        TSeq *self, const struct DDS_TypeAllocationParams_t *params);                                                 \
    DDS_SEQUENCE_OPERATION_ void TSeq##_get_element_allocation_params(TSeq *self,                                     \
                                                                      struct DDS_TypeAllocationParams_t *params);     \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_set_element_deallocation_params(                                       \
        TSeq *self, const struct DDS_TypeDeallocationParams_t *params);                                               \
    DDS_SEQUENCE_OPERATION_ void TSeq##_get_element_deallocation_params(TSeq *self,                                   \
                                                                        struct DDS_TypeDeallocationParams_t *params); \
    DDS_SEQUENCE_OPERATION_ void TSeq##_get_read_tokenI(TSeq *self, void **token1, void **token2);                    \
    DDS_SEQUENCE_OPERATION_ void TSeq##_set_read_tokenI(TSeq *self, void *token1, void *token2);                      \
    DDS_SEQUENCE_OPERATION_ TSeq *TSeq##_copy(TSeq *self, const TSeq *src);                                           \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_copy_no_alloc(TSeq *self, const TSeq *src);                            \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_copy_no_allocI(TSeq *self, const TSeq *src);                           \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_from_array(TSeq *self, const T *array, DDS_Long length);               \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_to_array(const TSeq *self, T *array, DDS_Long length);                 \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_loan_contiguous(TSeq *self, T *buffer, DDS_Long new_length,            \
                                                               DDS_Long new_max);                                     \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_loan_discontiguous(TSeq *self, T **buffer, DDS_Long new_length,        \
                                                                  DDS_Long new_max);                                  \
    DDS_SEQUENCE_OPERATION_ DDS_Boolean TSeq##_unloan(TSeq *self);                                                    \
    DDS_SEQUENCE_OPERATION_ T *TSeq##_get_contiguous_buffer(TSeq *self);                                              \
    DDS_SEQUENCE_OPERATION_ T *TSeq##_get_contiguous_bufferI(TSeq *self);                                             \
    DDS_SEQUENCE_OPERATION_ T **TSeq##_get_discontiguous_buffer(TSeq *self);                                          \
    DDS_SEQUENCE_OPERATION_ T **TSeq##_get_discontiguous_bufferI(TSeq *self);                                         \
    DDS_SEQUENCE_OPERATION_ void TSeq##_delete_bufferI(TSeq *self, T *buffer, DDS_Long maximum, DDS_Boolean flag);    \
    DDS_SEQUENCE_OPERATION_ int TSeq##_check_invariantsI(TSeq *self, const char *operation)

#endif
