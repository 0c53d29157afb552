/// @file
/// The double of ZYLOsapiSemaphore_new.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

DOUBLE(1, ZYLOsapiSemaphore_new, .failure = nullptr, .shown = {0});
