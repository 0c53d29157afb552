/// @file
/// The double of DDS_AsyncWaitSet_initialize.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(8, DDS_AsyncWaitSet_initialize, .failure = 0);
