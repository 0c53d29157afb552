/// @file
/// The sequence of condition pointers. It holds the pointers only; the conditions belong to others.
///
/// Protection: none. A sequence belongs to one thread at a time.
#include "dds_c/dds_c_condition.h"
#include "dds_c/generic/dds_c_sequence_TSeq.hpp"

DDS_SEQUENCE_DEFINE(DDS_ConditionSeq, DDS_Condition_ptr);
