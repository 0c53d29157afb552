/// @file
/// The double of DDS_AsyncWaitSet_submit_task.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(4, DDS_AsyncWaitSet_submit_task, .failure = DDS_RETCODE_ERROR, .shown = {3});
