/// @file
/// The double of DDS_AsyncWaitSet_executeInternalTasks.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(3, DDS_AsyncWaitSet_executeInternalTasks, .failure = DDS_RETCODE_ERROR);
