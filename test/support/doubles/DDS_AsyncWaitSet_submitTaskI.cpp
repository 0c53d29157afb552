/// @file
/// The double of DDS_AsyncWaitSet_submitTaskI.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(4, DDS_AsyncWaitSet_submitTaskI, .failure = DDS_RETCODE_ERROR, .shown = {3});
