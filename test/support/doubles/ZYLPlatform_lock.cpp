/// @file
/// The double of ZYLPlatform_lock.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(1, ZYLPlatform_lock);
