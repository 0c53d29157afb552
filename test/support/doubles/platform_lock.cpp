/// @file
/// The double of platform_lock.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(1, platform_lock);
