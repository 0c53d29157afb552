/// @file
/// The double of DDS_AsyncWaitSet_submit_task.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(4, DDS_AsyncWaitSet_submit_task, .failure = DDS_RETCODE_ERROR, .shown = {3});
