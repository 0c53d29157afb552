/// @file
/// See SequenceInstances.hpp.
#include "SequenceInstances.hpp"

#include "dds_c/generic/dds_c_sequence_TSeq.hpp"

DDS_SEQUENCE_DEFINE(TestByteSeq, TestByte);
