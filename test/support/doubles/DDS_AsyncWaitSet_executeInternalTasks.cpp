/// @file
/// The double of DDS_AsyncWaitSet_executeInternalTasks.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(3, DDS_AsyncWaitSet_executeInternalTasks, .failure = DDS_RETCODE_ERROR);
