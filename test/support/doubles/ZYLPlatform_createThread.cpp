/// @file
/// The double of ZYLPlatform_createThread.
#include "Double.hpp"
#include "halo_runtime/platform/Platform.hpp"

DOUBLE(4, ZYLPlatform_createThread, .failure = nullptr);
