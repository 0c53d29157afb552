/// @file
/// The double of DDS_AsyncWaitSet_createThread.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(2, DDS_AsyncWaitSet_createThread, .failure = DDS_RETCODE_ERROR, .shown = {1});
