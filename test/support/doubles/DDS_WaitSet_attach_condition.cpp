/// @file
/// The double of DDS_WaitSet_attach_condition.
#include "Double.hpp"
#include "dds_c/dds_c_waitset.h"

DOUBLE(2, DDS_WaitSet_attach_condition, .failure = DDS_RETCODE_OUT_OF_RESOURCES, .shown = {1});
