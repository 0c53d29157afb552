/// @file
/// The double of DDS_WaitSet_delete.
#include "Double.hpp"
#include "dds_c/dds_c_waitset.h"

DOUBLE(1, DDS_WaitSet_delete, .failure = DDS_RETCODE_ILLEGAL_OPERATION);
