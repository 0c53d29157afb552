/// @file
/// The generic bounded sequence, for C++: the macro that defines the operations of an instance. Only the one source
/// file that does so includes this; everybody else wants the `.h`.
///
/// The algorithms exist once, in two class templates: DDS_SequenceContainer and DDS_SequenceExchange. The operations of
/// an instance are plain C functions; each runs the algorithm of its name and passes its own name along, for the
/// invariant check and the log.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_HPP
#define DDS_C_GENERIC_SEQUENCE_TSEQ_HPP

#include "dds_c_sequence_TSeqContainer.hpp"
#include "dds_c_sequence_TSeqExchange.hpp"

/// Define the operations that DDS_SEQUENCE(TSeq, T) declares. To be used once per instance, outside of namespaces.
#define DDS_SEQUENCE_DEFINE(TSeq, T)                                                                                  \
    namespace {                                                                                                       \
    struct TSeq##_Api {                                                                                               \
        static constexpr auto *check_invariantsI = &TSeq##_check_invariantsI;                                         \
        static constexpr auto *get_maximum = &TSeq##_get_maximum;                                                     \
        static constexpr auto *set_maximum = &TSeq##_set_maximum;                                                     \
        static constexpr auto *get_length = &TSeq##_get_length;                                                       \
        static constexpr auto *set_length = &TSeq##_set_length;                                                       \
        static constexpr auto *ensure_length = &TSeq##_ensure_length;                                                 \
        static constexpr auto *copy = &TSeq##_copy;                                                                   \
        static constexpr auto *copy_no_alloc = &TSeq##_copy_no_alloc;                                                 \
        static constexpr auto *copy_no_allocI = &TSeq##_copy_no_allocI;                                               \
        static constexpr auto *loan_contiguous = &TSeq##_loan_contiguous;                                             \
        static constexpr auto *unloan = &TSeq##_unloan;                                                               \
    };                                                                                                                \
    using TSeq##_Container = DDS_SequenceContainer<TSeq, T, TSeq##_Api>;                                              \
    using TSeq##_Exchange = DDS_SequenceExchange<TSeq, T, TSeq##_Api>;                                                \
    }                                                                                                                 \
    DDS_Boolean TSeq##_initialize(TSeq *self)                                                                         \
    {                                                                                                                 \
        return TSeq##_Container::initialize(self, __func__);                                                          \
    }                                                                                                                 \
    DDS_Boolean TSeq##_finalize(TSeq *self)                                                                           \
    {                                                                                                                 \
        return TSeq##_set_maximum(self, 0);                                                                           \
    }                                                                                                                 \
    DDS_Long TSeq##_get_maximum(TSeq *self)                                                                           \
    {                                                                                                                 \
        return TSeq##_Container::get_maximum(self, __func__);                                                         \
    }                                                                                                                 \
    DDS_Boolean TSeq##_set_maximum(TSeq *self, DDS_Long new_max)                                                      \
    {                                                                                                                 \
        return TSeq##_Container::set_maximum(self, new_max, __func__);                                                \
    }                                                                                                                 \
    DDS_Boolean TSeq##_set_absolute_maximum(TSeq *self, DDS_Long new_absolute_max)                                    \
    {                                                                                                                 \
        return TSeq##_Container::set_absolute_maximum(self, new_absolute_max, __func__);                              \
    }                                                                                                                 \
    DDS_Long TSeq##_get_length(TSeq *self)                                                                            \
    {                                                                                                                 \
        return TSeq##_Container::get_length(self, __func__);                                                          \
    }                                                                                                                 \
    DDS_Boolean TSeq##_set_length(TSeq *self, DDS_UnsignedLong new_length)                                            \
    {                                                                                                                 \
        return TSeq##_Container::set_length(self, new_length, __func__);                                              \
    }                                                                                                                 \
    DDS_Boolean TSeq##_ensure_length(TSeq *self, DDS_Long length, DDS_Long max)                                       \
    {                                                                                                                 \
        return TSeq##_Container::ensure_length(self, length, max, __func__);                                          \
    }                                                                                                                 \
    T TSeq##_get(TSeq *self, DDS_Long index)                                                                          \
    {                                                                                                                 \
        return TSeq##_Container::get(self, index, __func__);                                                          \
    }                                                                                                                 \
    T *TSeq##_get_reference(TSeq *self, DDS_Long index)                                                               \
    {                                                                                                                 \
        return TSeq##_Container::get_reference(self, index, __func__);                                                \
    }                                                                                                                 \
    DDS_Boolean TSeq##_has_ownership(TSeq *self)                                                                      \
    {                                                                                                                 \
        return TSeq##_Container::has_ownership(self, __func__);                                                       \
    }                                                                                                                 \
    DDS_Boolean TSeq##_get_element_pointers_allocation(TSeq *self)                                                    \
    {                                                                                                                 \
        return self->_elementAllocParams.allocate_pointers;                                                           \
    }                                                                                                                 \
    DDS_Boolean TSeq##_set_element_pointers_allocation(TSeq *self, DDS_Boolean flag)                                  \
    {                                                                                                                 \
        return TSeq##_Container::set_element_pointers_allocation(self, flag, __func__);                               \
    }                                                                                                                 \
    DDS_Boolean TSeq##_set_element_allocation_params(TSeq *self, const struct DDS_TypeAllocationParams_t *params)     \
    {                                                                                                                 \
        return TSeq##_Container::set_element_allocation_params(self, params, __func__);                               \
    }                                                                                                                 \
    void TSeq##_get_element_allocation_params(TSeq *self, struct DDS_TypeAllocationParams_t *params)                  \
    {                                                                                                                 \
        TSeq##_Container::get_element_allocation_params(self, params, __func__);                                      \
    }                                                                                                                 \
    DDS_Boolean TSeq##_set_element_deallocation_params(TSeq *self, const struct DDS_TypeDeallocationParams_t *params) \
    {                                                                                                                 \
        return TSeq##_Container::set_element_deallocation_params(self, params, __func__);                             \
    }                                                                                                                 \
    void TSeq##_get_element_deallocation_params(TSeq *self, struct DDS_TypeDeallocationParams_t *params)              \
    {                                                                                                                 \
        TSeq##_Container::get_element_deallocation_params(self, params, __func__);                                    \
    }                                                                                                                 \
    void TSeq##_get_read_tokenI(TSeq *self, void **token1, void **token2)                                             \
    {                                                                                                                 \
        TSeq##_Container::get_read_tokenI(self, token1, token2, __func__);                                            \
    }                                                                                                                 \
    void TSeq##_set_read_tokenI(TSeq *self, void *token1, void *token2)                                               \
    {                                                                                                                 \
        TSeq##_Container::set_read_tokenI(self, token1, token2, __func__);                                            \
    }                                                                                                                 \
    TSeq *TSeq##_copy(TSeq *self, const TSeq *src)                                                                    \
    {                                                                                                                 \
        return TSeq##_Exchange::copy(self, src, __func__);                                                            \
    }                                                                                                                 \
    DDS_Boolean TSeq##_copy_no_alloc(TSeq *self, const TSeq *src)                                                     \
    {                                                                                                                 \
        return TSeq##_Exchange::copy_no_alloc(self, src, __func__);                                                   \
    }                                                                                                                 \
    DDS_Boolean TSeq##_copy_no_allocI(TSeq *self, const TSeq *src)                                                    \
    {                                                                                                                 \
        return TSeq##_Exchange::copy_no_allocI(self, src, __func__);                                                  \
    }                                                                                                                 \
    DDS_Boolean TSeq##_from_array(TSeq *self, const T *array, DDS_Long length)                                        \
    {                                                                                                                 \
        return TSeq##_Exchange::from_array(self, array, length, __func__);                                            \
    }                                                                                                                 \
    DDS_Boolean TSeq##_to_array(const TSeq *self, T *array, DDS_Long length)                                          \
    {                                                                                                                 \
        return TSeq##_Exchange::to_array(self, array, length, __func__);                                              \
    }                                                                                                                 \
    DDS_Boolean TSeq##_loan_contiguous(TSeq *self, T *buffer, DDS_Long new_length, DDS_Long new_max)                  \
    {                                                                                                                 \
        return TSeq##_Exchange::loan_contiguous(self, buffer, new_length, new_max, __func__);                         \
    }                                                                                                                 \
    DDS_Boolean TSeq##_loan_discontiguous(TSeq *self, T **buffer, DDS_Long new_length, DDS_Long new_max)              \
    {                                                                                                                 \
        return TSeq##_Exchange::loan_discontiguous(self, buffer, new_length, new_max, __func__);                      \
    }                                                                                                                 \
    DDS_Boolean TSeq##_unloan(TSeq *self)                                                                             \
    {                                                                                                                 \
        return TSeq##_Exchange::unloan(self, __func__);                                                               \
    }                                                                                                                 \
    T *TSeq##_get_contiguous_buffer(TSeq *self)                                                                       \
    {                                                                                                                 \
        return TSeq##_Exchange::get_contiguous_buffer(self, __func__);                                                \
    }                                                                                                                 \
    T *TSeq##_get_contiguous_bufferI(TSeq *self)                                                                      \
    {                                                                                                                 \
        return TSeq##_Exchange::get_contiguous_buffer(self, __func__);                                                \
    }                                                                                                                 \
    T **TSeq##_get_discontiguous_buffer(TSeq *self)                                                                   \
    {                                                                                                                 \
        return TSeq##_Exchange::get_discontiguous_buffer(self, __func__);                                             \
    }                                                                                                                 \
    T **TSeq##_get_discontiguous_bufferI(TSeq *self)                                                                  \
    {                                                                                                                 \
        return TSeq##_Exchange::get_discontiguous_buffer(self, __func__);                                             \
    }                                                                                                                 \
    void TSeq##_delete_bufferI(TSeq *self, T *buffer, DDS_Long, DDS_Boolean)                                          \
    {                                                                                                                 \
        TSeq##_Exchange::delete_bufferI(self, buffer, __func__);                                                      \
    }                                                                                                                 \
    int TSeq##_check_invariantsI(TSeq *self, const char *operation)                                                   \
    {                                                                                                                 \
        return TSeq##_Container::check_invariantsI(self, operation != nullptr ? operation : __func__);                \
    }                                                                                                                 \
    struct TSeq

#endif
