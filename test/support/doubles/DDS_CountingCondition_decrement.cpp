/// @file
/// The double of DDS_CountingCondition_decrement.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(2, DDS_CountingCondition_decrement, .failure = DDS_RETCODE_OUT_OF_RESOURCES, .shown = {1});
