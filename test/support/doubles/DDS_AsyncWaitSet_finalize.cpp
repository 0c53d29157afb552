/// @file
/// The double of DDS_AsyncWaitSet_finalize.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(1, DDS_AsyncWaitSet_finalize, .failure = DDS_RETCODE_OUT_OF_RESOURCES);
