/// @file
/// The double of DDS_AsyncWaitSet_finalize.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(1, DDS_AsyncWaitSet_finalize, .failure = DDS_RETCODE_OUT_OF_RESOURCES);
