/// @file
/// The double of ZYLPlatform_unpark.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(1, ZYLPlatform_unpark);
