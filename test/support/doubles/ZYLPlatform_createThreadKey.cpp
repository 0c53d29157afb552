/// @file
/// The double of ZYLPlatform_createThreadKey.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(2, ZYLPlatform_createThreadKey, .failure = platform::noThreadKey);
