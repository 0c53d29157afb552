/// @file
/// The double of DDS_ConditionSeq_finalize.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(1, DDS_ConditionSeq_finalize, .failure = DDS_BOOLEAN_FALSE);
