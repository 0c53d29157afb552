/// @file
/// The double of DDS_AsyncWaitSet_notify_task_executed.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(2, DDS_AsyncWaitSet_notify_task_executed, .failure = DDS_RETCODE_ERROR, .shown = {1});
