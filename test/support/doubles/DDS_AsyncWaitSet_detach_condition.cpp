/// @file
/// The double of DDS_AsyncWaitSet_detach_condition.
#include "Double.hpp"
#include "dds_c/dds_c_asyncwaitset.h"

DOUBLE(2, DDS_AsyncWaitSet_detach_condition, .failure = DDS_RETCODE_ERROR, .shown = {1});
