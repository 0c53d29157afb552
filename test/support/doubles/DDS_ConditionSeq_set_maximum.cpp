/// @file
/// The double of DDS_ConditionSeq_set_maximum.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(2, DDS_ConditionSeq_set_maximum, .failure = DDS_BOOLEAN_FALSE, .shown = {1});
