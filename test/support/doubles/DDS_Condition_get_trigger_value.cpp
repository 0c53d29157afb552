/// @file
/// The double of DDS_Condition_get_trigger_value.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(1, DDS_Condition_get_trigger_value, .failure = DDS_BOOLEAN_FALSE, .shown = {0});
