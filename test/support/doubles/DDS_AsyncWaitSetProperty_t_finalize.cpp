/// @file
/// The double of DDS_AsyncWaitSetProperty_t_finalize.
#include "Double.hpp"
#include "dds_c/dds_c_asyncwaitset.h"

DOUBLE(1, DDS_AsyncWaitSetProperty_t_finalize, .failure = DDS_RETCODE_ERROR);
