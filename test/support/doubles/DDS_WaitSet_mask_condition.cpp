/// @file
/// The double of DDS_WaitSet_mask_condition.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"

DOUBLE(3, DDS_WaitSet_mask_condition, .failure = DDS_RETCODE_ILLEGAL_OPERATION, .shown = {1, 2});
