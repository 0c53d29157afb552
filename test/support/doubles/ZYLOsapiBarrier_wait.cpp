/// @file
/// The double of ZYLOsapiBarrier_wait.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiBarrier.pkg.h"

DOUBLE(1, ZYLOsapiBarrier_wait, .failure = ZYL_OSAPI_SEMAPHORE_STATUS_ERROR);
