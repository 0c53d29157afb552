/// @file
/// A sequence of the element type that the command line chooses. All but int are refused.
#include <dds_c/generic/dds_c_sequence_TSeq.hpp>

/// Its copy would need to be told.
struct Owner {
    Owner() = default;
    Owner(const Owner &) {}
};
/// Its bytes may be copied, but `get` cannot return one.
struct Unique {
    Unique() = default;
    Unique(Unique &&) = default;
    Unique &operator=(Unique &&) = default;
};
struct alignas(32) Wide {
    double values[4];
};
using Constant = const int;

DDS_SEQUENCE(ElementSeq, ELEMENT);
DDS_SEQUENCE_DEFINE(ElementSeq, ELEMENT);
