/// @file
/// The double of DDS_AsyncWaitSet_createThread.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(2, DDS_AsyncWaitSet_createThread, .failure = DDS_RETCODE_ERROR, .shown = {1});
