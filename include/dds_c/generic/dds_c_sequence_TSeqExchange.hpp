/// @file
/// The generic bounded sequence, second half: copies, arrays, loans, raw buffers.
///
/// The rules for names and messages are those of the first half. A loan is a sequence that does not own its memory: it
/// works in the caller's buffer, never resizes it and never frees it.
///
/// Protection: none. A sequence belongs to one thread at a time. Calls out: nothing but the log's sink.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_EXCHANGE_HPP
#define DDS_C_GENERIC_SEQUENCE_TSEQ_EXCHANGE_HPP

#include <cstring>

#include "dds_c_sequence_TSeqContainer.hpp"

/// See DDS_SequenceContainer.
template <class Seq, class T, class Api>
struct DDS_SequenceExchange {
    using Container = DDS_SequenceContainer<Seq, T, Api>;

    static constexpr DDS_Boolean no = DDS_BOOLEAN_FALSE;
    static constexpr DDS_Boolean yes = DDS_BOOLEAN_TRUE;

    // Deliberate: the destination grows to the source's capacity, not to its length.
    // (SequenceCopy_test: copy_grows_to_the_capacity_of_the_source)
    static Seq *copy(Seq *self, const Seq *src, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(nullptr, self);
        if (src == nullptr) return DDS_SEQ_BAD_PARAMETER(nullptr, src);
        if (!Container::makeReady(self, operation)) return nullptr;
        // The source is only read: the getters would initialize a record that is not, and so are not asked then.
        auto *source = const_cast<Seq *>(src);
        if (Container::isInitialized(*src) && Api::get_maximum(self) < Api::get_length(source) &&
            !Api::set_maximum(self, Api::get_maximum(source)))
            return nullptr;
        if (!Api::copy_no_alloc(self, src)) return nullptr;
        return Container::isConsistent(self, operation) ? self : nullptr;
    }

    static DDS_Boolean copy_no_alloc(Seq *self, const Seq *src, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (src == nullptr) return DDS_SEQ_BAD_PARAMETER(no, src);
        if (!Container::isInitialized(*self)) Container::setInitialState(*self);
        if (!self->_owned && Container::sourceLength(*src) > self->_maximum) return DDS_SEQ_NOT_OWNER(no);
        if (!Container::isConsistent(self, operation)) return no;
        return Api::copy_no_allocI(self, src);
    }

    static DDS_Boolean copy_no_allocI(Seq *self, const Seq *src, const char *operation)
    {
        const DDS_UnsignedLong length = Container::sourceLength(*src);
        if (self->_maximum < length) return DDS_SEQ_NO_SPACE(no, self->_maximum, length);
        if (!Api::set_length(self, length)) return DDS_SEQ_NO_SPACE(no, self->_absolute_maximum, length);
        if (length > 0 && !copyElements(self, src, length))
            return DDS_SEQ_FAILED(no, "Unexpected NULL discontiguous buffer in the sequence");
        return Container::isConsistent(self, operation);
    }

    /// Copy by value between any two layouts; false, and nothing copied, when one of the two has no buffer at all.
    static bool copyElements(Seq *self, const Seq *src, DDS_UnsignedLong count)
    {
        T *to = self->_contiguous_buffer;
        const T *from = src->_contiguous_buffer;
        T **toEach = self->_discontiguous_buffer;
        T *const *fromEach = src->_discontiguous_buffer;
        if ((to == nullptr && toEach == nullptr) || (from == nullptr && fromEach == nullptr)) return false;
        if (to != nullptr && from != nullptr) {
            copyBytes(to, from, count);
            return true;
        }
        for (DDS_UnsignedLong i = 0; i < count; ++i)
            copyBytes(to != nullptr ? to + i : toEach[i], from != nullptr ? from + i : fromEach[i], 1);
        return true;
    }

    /// The two may overlap.
    static void copyBytes(T *to, const T *from, DDS_UnsignedLong count)
    {
        std::memmove(static_cast<void *>(to), from, count * sizeof(T));
    }

    static DDS_Boolean from_array(Seq *self, const T *array, DDS_Long length, const char *operation)
    {
        Seq lent = DDS_SEQUENCE_INITIALIZER;  // only read from
        if (!Api::loan_contiguous(&lent, const_cast<T *>(array), length, length))
            return DDS_SEQ_FAILED(no, "loan contiguous array");
        if (Api::copy(self, &lent) == nullptr) return DDS_SEQ_FAILED(no, "copy array sequence");
        return Api::unloan(&lent) ? yes : DDS_SEQ_FAILED(yes, "unloan contiguous array");
    }

    static DDS_Boolean to_array(const Seq *self, T *array, DDS_Long length, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        Seq lent = DDS_SEQUENCE_INITIALIZER;
        if (!Api::loan_contiguous(&lent, array, length, length)) return DDS_SEQ_SET_FAILED(no, "loan contiguous array");
        if (!Api::copy_no_allocI(&lent, self)) return DDS_SEQ_SET_FAILED(no, "copying array sequence");
        return Api::unloan(&lent) ? yes : DDS_SEQ_SET_FAILED(yes, "unloan contiguous array");
    }

    // -- Loans and raw buffers. ---------------------------------------------------------------------------------------

    static DDS_Boolean loan_contiguous(Seq *self, T *buffer, DDS_Long newLength, DDS_Long newMax, const char *operation)
    {
        return loan(self, buffer, static_cast<T **>(nullptr), newLength, newMax, operation);
    }

    static DDS_Boolean loan_discontiguous(Seq *self, T **buffer, DDS_Long newLength, DDS_Long newMax,
                                          const char *operation)
    {
        return loan(self, static_cast<T *>(nullptr), buffer, newLength, newMax, operation);
    }

    /// Both loans; at most one of the buffers is given.
    static DDS_Boolean loan(Seq *self, T *elements, T **pointers, DDS_Long newLength, DDS_Long newMax,
                            const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (!Container::makeReady(self, operation)) return no;
        if (self->_maximum != 0) return DDS_SEQ_ASSERT(no, "max size must be 0");
        if (newLength < 0 || newMax < 0) return DDS_SEQ_ASSERT(no, "negative argument");
        if (newLength > newMax) return DDS_SEQ_NO_SPACE(no, newMax, newLength);
        if (newMax >= 1 && elements == nullptr && pointers == nullptr)
            return DDS_SEQ_ASSERT(no, "NULL buffer can't have non-zero maximum");
        if (static_cast<DDS_UnsignedLong>(newMax) > self->_absolute_maximum)
            return DDS_SEQ_ASSERT(no, "new max cannot be larger than absolute maximum");
        self->_contiguous_buffer = elements;
        self->_discontiguous_buffer = pointers;
        self->_length = static_cast<DDS_UnsignedLong>(newLength);
        self->_maximum = static_cast<DDS_UnsignedLong>(newMax);
        self->_owned = DDS_BOOLEAN_FALSE;
        return Container::isConsistent(self, operation);
    }

    static DDS_Boolean unloan(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(no, self);
        if (!Container::makeReady(self, operation)) return no;
        if (self->_owned) return DDS_SEQ_ASSERT(no, "buffer must be loaned");
        self->_contiguous_buffer = nullptr;
        self->_discontiguous_buffer = nullptr;
        self->_maximum = 0;
        self->_length = 0;
        self->_owned = DDS_BOOLEAN_TRUE;
        return Container::isConsistent(self, operation);
    }

    static T *get_contiguous_buffer(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(nullptr, self);
        return Container::makeReady(self, operation) ? self->_contiguous_buffer : nullptr;
    }

    static T *get_contiguous_bufferI(Seq *self, const char *operation)
    {
        return get_contiguous_buffer(self, operation);
    }

    static T **get_discontiguous_buffer(Seq *self, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(nullptr, self);
        return Container::makeReady(self, operation) ? self->_discontiguous_buffer : nullptr;
    }

    static T **get_discontiguous_bufferI(Seq *self, const char *operation)
    {
        return get_discontiguous_buffer(self, operation);
    }

    /// Elements need no finalization, so that only the buffer is of interest.
    static void delete_bufferI(Seq *self, T *buffer, DDS_Long /*maximum*/, DDS_Boolean /*flag*/, const char *operation)
    {
        if (self == nullptr) return DDS_SEQ_BAD_PARAMETER(static_cast<void>(0), self);
        if (buffer != nullptr) ZYLSequenceSupport_freeBuffer(buffer);
    }
};

#endif
