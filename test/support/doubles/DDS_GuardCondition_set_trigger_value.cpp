/// @file
/// The double of DDS_GuardCondition_set_trigger_value.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(2, DDS_GuardCondition_set_trigger_value, .failure = DDS_RETCODE_ERROR, .shown = {0, 1});
