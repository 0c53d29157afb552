/// @file
/// The double of platform_createThread.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(4, platform_createThread, .failure = nullptr);
