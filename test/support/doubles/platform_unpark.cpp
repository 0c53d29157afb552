/// @file
/// The double of platform_unpark.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(1, platform_unpark);
