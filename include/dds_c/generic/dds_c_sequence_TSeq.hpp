/// @file
/// The generic bounded sequence, for C++: the macro that defines the operations of an instance. Only the one source
/// file that does so includes this; everybody else wants the `.h`.
///
/// The algorithms exist once, in two class templates: DDS_SequenceContainer and DDS_SequenceExchange. The operations of
/// an instance are plain C functions; each runs the algorithm of its name and passes its own name along, for the
/// invariant check and the log. Memory and messages are the library's: a program that defines a sequence links it.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_HPP
#define DDS_C_GENERIC_SEQUENCE_TSEQ_HPP

#include <type_traits>

#include "dds_c_sequence_TSeqContainer.hpp"
#include "dds_c_sequence_TSeqExchange.hpp"

/// Every algorithm under the name of its operation.
template <class Seq, class T, class Api>
struct DDS_SequenceAlgorithms : DDS_SequenceContainer<Seq, T, Api>, DDS_SequenceExchange<Seq, T, Api> {
};

#define DDS_SEQUENCE_NAME_(TSeq, Result, name, parameters, arguments) \
    [[maybe_unused]] static constexpr auto *name = &TSeq##_##name;
#define DDS_SEQUENCE_DEFINE_(TSeq, Result, name, parameters, arguments) \
    Result TSeq##_##name parameters                                     \
    {                                                                   \
        return TSeq##_Algorithms::name arguments;                       \
    }

// What an element type must be; the header for C says it at length.
#define DDS_SEQUENCE_CHECK_ELEMENT_(T)                                                                         \
    static_assert(std::is_trivially_copyable_v<T>,                                                             \
                  "the elements of a sequence are copied as bytes and never constructed or destroyed: "        \
                  "their type must be trivially copyable");                                                    \
    static_assert(std::is_copy_constructible_v<T>, "the operation get returns a copy of an element");          \
    static_assert(std::is_same_v<T, std::remove_cv_t<T>>, "the elements of a sequence are written, as bytes"); \
    static_assert(alignof(T) <= ZYL_SEQUENCE_BUFFER_ALIGNMENT, "a buffer is aligned to 16 bytes and no further");

/// Define the operations that DDS_SEQUENCE(TSeq, T) declares. To be used once per instance, outside of namespaces.
#define DDS_SEQUENCE_DEFINE(TSeq, T)                                       \
    DDS_SEQUENCE_CHECK_ELEMENT_(T)                                         \
    namespace {                                                            \
    struct TSeq##_Api {                                                    \
        DDS_SEQUENCE_OPERATIONS_(DDS_SEQUENCE_NAME_, TSeq, T)              \
    };                                                                     \
    using TSeq##_Algorithms = DDS_SequenceAlgorithms<TSeq, T, TSeq##_Api>; \
    }                                                                      \
    DDS_SEQUENCE_OPERATIONS_(DDS_SEQUENCE_DEFINE_, TSeq, T)                \
    struct TSeq

#endif
