/// @file
/// The double of DDS_AsyncWaitSetThread_finalize.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(1, DDS_AsyncWaitSetThread_finalize, .shown = {0});
