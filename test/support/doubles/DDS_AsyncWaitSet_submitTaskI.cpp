/// @file
/// The double of DDS_AsyncWaitSet_submitTaskI.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(4, DDS_AsyncWaitSet_submitTaskI, .failure = DDS_RETCODE_ERROR, .shown = {3});
