/// @file
/// The generic bounded sequence, first half: life, invariants, capacity, length, elements, parameters.
///
/// Every algorithm is passed the name of the public operation that runs it, as `operation`; the invariant check and the
/// messages carry that name. Where an algorithm uses another operation it calls the public one (through `Api`), which
/// reports under its own name in turn.
///
/// Protection: none. A sequence belongs to one thread at a time. Calls out: nothing but the log's sink.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_CONTAINER_HPP
#define DDS_C_GENERIC_SEQUENCE_TSEQ_CONTAINER_HPP

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "dds_c_sequence_TSeq.h"
#include "dds_c_sequence_TSeqLog.hpp"
#include "dds_c_sequence_TSeqSupport.h"

/// The algorithms over a record `Seq` and its element type `T`. `Api` names the public operations of the instance that
/// the algorithms build on. The C header tells what each operation is for.
template <class Seq, class T, class Api>
struct DDS_SequenceContainer {
    static constexpr DDS_Boolean no = DDS_BOOLEAN_FALSE;
    static constexpr DDS_Boolean yes = DDS_BOOLEAN_TRUE;

    // -- Helpers; silent themselves. ----------------------------------------------------------------------------------

    static bool isInitialized(const Seq &seq) { return seq._sequence_init == DDS_SEQUENCE_MAGIC_NUMBER; }

    /// Length of a source that may never have been initialized; such a record is empty, whatever it holds.
    static DDS_UnsignedLong sourceLength(const Seq &src) { return isInitialized(src) ? src._length : 0; }

    static void setInitialState(Seq &seq)
    {
        seq._contiguous_buffer = nullptr;
        seq._discontiguous_buffer = nullptr;
        seq._read_token1 = nullptr;
        seq._read_token2 = nullptr;
        seq._maximum = 0;
        seq._length = 0;
        seq._sequence_init = DDS_SEQUENCE_MAGIC_NUMBER;
        seq._owned = DDS_BOOLEAN_TRUE;
        setAllocationParams(seq, DDS_TYPE_ALLOCATION_PARAMS_DEFAULT);
        seq._absolute_maximum = DDS_SEQUENCE_ABSOLUTE_MAXIMUM_DEFAULT;
        setDeallocationParams(seq, DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT);
    }

    static void setAllocationParams(Seq &seq, const DDS_TypeAllocationParams_t &params)
    {
        seq._elementAllocParams.allocate_pointers = params.allocate_pointers;
        seq._elementAllocParams.allocate_optional_members = params.allocate_optional_members;
        seq._elementAllocParams.allocate_memory = params.allocate_memory;
    }

    static void setDeallocationParams(Seq &seq, const DDS_TypeDeallocationParams_t &params)
    {
        seq._elementDeallocParams.delete_pointers = params.delete_pointers;
        seq._elementDeallocParams.delete_optional_members = params.delete_optional_members;
    }

    /// The invariant check as a boolean result.
    static DDS_Boolean isConsistent(Seq *self, const char *operation)
    {
        return Api::check_invariantsI(self, operation) != 0 ? yes : no;
    }

    /// First use of a record initializes it; then the invariants must hold.
    static bool makeReady(Seq *self, const char *operation)
    {
        if (!isInitialized(*self)) setInitialState(*self);
        return isConsistent(self, operation) != no;
    }

    /// Bytes of a buffer, as a message can carry them; INT32_MAX stands for itself and for everything above.
    static int byteCount(DDS_UnsignedLong count)
    {
        static_assert(sizeof(T) <= UINT32_MAX, "the product fits 64 bits");
        return static_cast<int>(std::min<std::uint64_t>(std::uint64_t{count} * sizeof(T), INT32_MAX));
    }

    /// A fresh buffer, or null when memory ended or the byte count overflows.
    static T *allocateBuffer(DDS_UnsignedLong count)
    {
        if (byteCount(count) == INT32_MAX) return nullptr;
        return static_cast<T *>(ZYLSequenceSupport_allocateBuffer(count * sizeof(T)));
    }

    /// Copy the elements that are kept into a fresh buffer and clear the places behind them, so that an element that
    /// nobody writes is zero and not what the memory was used for before.
    static void fillBuffer(T *buffer, DDS_UnsignedLong maximum, const T *oldBuffer, DDS_UnsignedLong keep)
    {
        if (keep > 0) std::memcpy(static_cast<void *>(buffer), oldBuffer, keep * sizeof(T));
        if (maximum > keep) std::memset(static_cast<void *>(buffer + keep), 0, (maximum - keep) * sizeof(T));
    }

    /// An element of zero bytes. The type may have no default constructor, or one that makes something else.
    static T zeroElement()
    {
        union Zero {
            unsigned char bytes[sizeof(T)];
            T element;
            Zero() : bytes{} {}
        };
        const Zero zero;
        return zero.element;
    }

    // -- Life, and the invariants. ------------------------------------------------------------------------------------

    static DDS_Boolean initialize(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        setInitialState(*self);
        return yes;
    }

    static DDS_Boolean finalize(Seq *self) { return Api::set_maximum(self, 0); }

    /// Reports under the name of the caller, if it gives one.
    static int check_invariantsI(Seq *self, const char *caller, const char *ownName)
    {
        const char *operation = caller != nullptr ? caller : ownName;
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(0, self);
        const bool hasContiguous = self->_contiguous_buffer != nullptr;
        const bool hasDiscontiguous = self->_discontiguous_buffer != nullptr;
        if (!isInitialized(*self)) return DDS_SEQ_ASSERT(0, "invariant: uninitialized");
        if (hasContiguous && hasDiscontiguous) return DDS_SEQ_ASSERT(0, "invariant: both buffers are non-NULL");
        if (self->_length > self->_maximum) return DDS_SEQ_ASSERT(0, "invariant: length > maximum");
        if (self->_owned && hasDiscontiguous)
            return DDS_SEQ_ASSERT(0, "invariant: sequence owns memory but has discontiguous buffer");
        if (self->_maximum > 0 && !hasContiguous && !hasDiscontiguous)
            return DDS_SEQ_ASSERT(0, "invariant: maximum > 0 but buffer is NULL");
        if (self->_maximum > self->_absolute_maximum) return DDS_SEQ_ASSERT(0, "invariant: maximum > absolute_maximum");
        return 1;
    }

    // -- Capacity and length. -----------------------------------------------------------------------------------------

    static DDS_Long get_maximum(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(0, self);
        return makeReady(self, operation) ? static_cast<DDS_Long>(self->_maximum) : 0;
    }

    static DDS_Boolean set_maximum(Seq *self, DDS_Long newMax, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (!makeReady(self, operation)) return no;
        if (!self->_elementAllocParams.allocate_memory) return DDS_SEQ_ASSERT(no, "allocate_memory must be true");
        if (newMax < 0) return DDS_SEQ_ASSERT(no, "max size must be positive");
        const auto maximum = static_cast<DDS_UnsignedLong>(newMax);
        if (maximum > self->_absolute_maximum)
            return DDS_SEQ_ASSERT(no, "new max cannot be larger than absolute maximum");
        if (!self->_owned) return DDS_SEQ_ASSERT(no, "buffer must not be loaned");
        if (self->_discontiguous_buffer != nullptr) return DDS_SEQ_ASSERT(no, "discontiguous buffer is not NULL!");
        if (maximum == self->_maximum) return yes;

        T *buffer = maximum > 0 ? allocateBuffer(maximum) : nullptr;
        if (maximum > 0 && buffer == nullptr) return DDS_SEQ_MALLOC_FAILED(no, byteCount(maximum));
        const DDS_UnsignedLong keep = std::min(maximum, self->_length);
        if (keep > 0 && self->_contiguous_buffer == nullptr) {
            ZYLSequenceSupport_freeBuffer(buffer);
            return DDS_SEQ_ASSERT(no, "inconsistent buffer state");
        }
        T *oldBuffer = self->_contiguous_buffer;
        fillBuffer(buffer, maximum, oldBuffer, keep);
        self->_contiguous_buffer = buffer;
        self->_maximum = maximum;
        self->_length = keep;
        ZYLSequenceSupport_freeBuffer(oldBuffer);
        return isConsistent(self, operation);
    }

    static DDS_Boolean set_absolute_maximum(Seq *self, DDS_Long newAbsoluteMax, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (!makeReady(self, operation)) return no;
        const auto absoluteMaximum = static_cast<DDS_UnsignedLong>(newAbsoluteMax);
        if (self->_maximum > absoluteMaximum) return DDS_SEQ_ASSERT(no, "new absolute max cannot be smaller than max");
        self->_absolute_maximum = absoluteMaximum;
        return yes;
    }

    static DDS_Long get_length(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(0, self);
        return makeReady(self, operation) ? static_cast<DDS_Long>(self->_length) : 0;
    }

    static DDS_Boolean set_length(Seq *self, DDS_UnsignedLong newLength, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (!makeReady(self, operation)) return no;
        const auto length = static_cast<DDS_Long>(newLength);
        if (length < 0 || newLength > self->_absolute_maximum)
            return DDS_SEQ_NO_SPACE(no, self->_absolute_maximum, newLength);
        if (self->_maximum >= newLength)
            self->_length = newLength;
        else if (!Api::ensure_length(self, length, length))
            return no;
        return isConsistent(self, operation);
    }

    static DDS_Boolean ensure_length(Seq *self, DDS_Long length, DDS_Long max, const char *operation)
    {
        if (length > max) return DDS_SEQ_NO_SPACE(no, length, max);
        const DDS_Long oldMax = Api::get_maximum(self);  // reports a null self
        if (oldMax < length) {
            if (self == nullptr || !self->_owned) return DDS_SEQ_NOT_OWNER(no);
            if (!Api::set_maximum(self, max)) return DDS_SEQ_NO_SPACE(no, oldMax, max);
        }
        if (!Api::set_length(self, static_cast<DDS_UnsignedLong>(length))) return DDS_SEQ_SET_FAILED(no, "length");
        return yes;
    }

    static DDS_Boolean has_ownership(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        return makeReady(self, operation) ? self->_owned : no;
    }

    // -- Elements. ----------------------------------------------------------------------------------------------------

    // Deliberate: self is not tested, and neither a failed check nor a bad index stops the read.
    // (Sequence_test: get_with_a_bad_index_logs_and_reads_element_0)
    static T get(Seq *self, DDS_Long index, const char *operation)
    {
        static_cast<void>(makeReady(self, operation));
        auto position = static_cast<DDS_UnsignedLong>(index);  // a negative index becomes a large one
        if (index < 0 || position >= self->_length) position = DDS_SEQ_ASSERT(0U, "index out of bounds");
        if (self->_maximum == 0) return zeroElement();  // there is no element 0 either
        if (self->_discontiguous_buffer != nullptr) return *self->_discontiguous_buffer[position];
        return self->_contiguous_buffer != nullptr ? self->_contiguous_buffer[position] : zeroElement();
    }

    static T *get_reference(Seq *self, DDS_Long index, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(nullptr, self);
        if (!makeReady(self, operation)) return nullptr;
        if (index < 0 || static_cast<DDS_UnsignedLong>(index) >= self->_length)
            return DDS_SEQ_ASSERT(nullptr, "index out of bounds");
        if (self->_discontiguous_buffer != nullptr) return self->_discontiguous_buffer[index];
        return self->_contiguous_buffer != nullptr ? self->_contiguous_buffer + index : nullptr;
    }

    // -- Parameters and tokens. ---------------------------------------------------------------------------------------

    // Deliberate: self is not tested, and the record is not initialized, here and in the setter.
    // (Sequence_test: the_pointer_flags_of_a_new_record_are_used_as_they_are)
    static DDS_Boolean get_element_pointers_allocation(Seq *self)
    {
        return self->_elementAllocParams.allocate_pointers;
    }

    static DDS_Boolean set_element_pointers_allocation(Seq *self, DDS_Boolean flag, const char *operation)
    {
        if (self->_maximum != 0)
            return DDS_SEQ_ASSERT(
                no, "Pointers allocation policy can be configured only when the maximum size of the sequence is 0");
        self->_elementAllocParams.allocate_pointers = flag;
        self->_elementDeallocParams.delete_pointers = flag;
        return yes;
    }

    static DDS_Boolean set_element_allocation_params(Seq *self, const DDS_TypeAllocationParams_t *params,
                                                     const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (params == nullptr) return DDS_SEQ_BAD_PARAMETER(no, params);
        if (self->_maximum != 0)
            return DDS_SEQ_ASSERT(
                no, "Member allocation parameters can be configured only when the maximum size of the sequence is 0");
        setAllocationParams(*self, *params);
        return yes;
    }

    static void get_element_allocation_params(Seq *self, DDS_TypeAllocationParams_t *params, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), self);
        if (params == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), params);
        params->allocate_pointers = self->_elementAllocParams.allocate_pointers;
        params->allocate_optional_members = self->_elementAllocParams.allocate_optional_members;
        params->allocate_memory = self->_elementAllocParams.allocate_memory;
    }

    // Deliberate: allowed at any time, unlike the allocation parameters.
    // (Sequence_test: release_flags_can_be_set_at_any_time)
    static DDS_Boolean set_element_deallocation_params(Seq *self, const DDS_TypeDeallocationParams_t *params,
                                                       const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (params == nullptr) return DDS_SEQ_BAD_PARAMETER(no, params);
        setDeallocationParams(*self, *params);
        return yes;
    }

    static void get_element_deallocation_params(Seq *self, DDS_TypeDeallocationParams_t *params, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), self);
        if (params == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), params);
        params->delete_pointers = self->_elementDeallocParams.delete_pointers;
        params->delete_optional_members = self->_elementDeallocParams.delete_optional_members;
    }

    static void get_read_tokenI(Seq *self, void **token1, void **token2, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), self);
        if (!makeReady(self, operation)) return;
        if (token1 == nullptr || token2 == nullptr) return DDS_SEQ_GET_FAILED(static_cast<void>(0), "token (NULL)");
        *token1 = self->_read_token1;
        *token2 = self->_read_token2;
    }

    static void set_read_tokenI(Seq *self, void *token1, void *token2, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), self);
        if (!makeReady(self, operation)) return;
        self->_read_token1 = token1;
        self->_read_token2 = token2;
    }
};

#endif
