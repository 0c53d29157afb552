/// @file
/// The double of ZYLOsapiSemaphore_drain.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

DOUBLE(1, ZYLOsapiSemaphore_drain, .failure = ZYL_OSAPI_SEMAPHORE_STATUS_ERROR);
