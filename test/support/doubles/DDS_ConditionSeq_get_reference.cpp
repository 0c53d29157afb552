/// @file
/// The double of DDS_ConditionSeq_get_reference.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(2, DDS_ConditionSeq_get_reference, .failure = nullptr, .shown = {1});
