/// @file
/// The double of DDS_Condition_dispatch.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(1, DDS_Condition_dispatch, .failure = DDS_RETCODE_ERROR, .shown = {0});
