/// @file
/// The double of ZYLPlatform_park.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(2, ZYLPlatform_park, .shown = {1});
