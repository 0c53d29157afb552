/// @file
/// The double of DDS_Condition_get_handler.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(1, DDS_Condition_get_handler, .failure = DDS_ConditionHandler{}, .shown = {0});
