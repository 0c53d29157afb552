/// @file
/// The double of ZYLPlatform_unlock.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(1, ZYLPlatform_unlock);
