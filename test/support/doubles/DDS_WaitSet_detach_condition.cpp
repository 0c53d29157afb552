/// @file
/// The double of DDS_WaitSet_detach_condition.
#include "Double.hpp"
#include "dds_c/dds_c_waitset.h"

DOUBLE(2, DDS_WaitSet_detach_condition, .failure = DDS_RETCODE_ILLEGAL_OPERATION, .shown = {1});
