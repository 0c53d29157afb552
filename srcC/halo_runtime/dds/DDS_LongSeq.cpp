/// @file
/// The sequence of signed 32-bit integers, for the CPU list of the thread settings.
///
/// Protection: none. A sequence belongs to one thread at a time.
#include "dds_c/dds_c_threadfactory.h"
#include "dds_c/generic/dds_c_sequence_TSeq.hpp"

DDS_SEQUENCE_DEFINE(DDS_LongSeq, DDS_Long);
