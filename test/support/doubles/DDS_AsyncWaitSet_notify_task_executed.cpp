/// @file
/// The double of DDS_AsyncWaitSet_notify_task_executed.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(2, DDS_AsyncWaitSet_notify_task_executed, .failure = DDS_RETCODE_ERROR, .shown = {1});
