/// @file
/// The double of platform_park.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(2, platform_park, .shown = {1});
