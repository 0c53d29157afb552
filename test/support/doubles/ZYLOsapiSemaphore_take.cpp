/// @file
/// The double of ZYLOsapiSemaphore_take.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

DOUBLE(2, ZYLOsapiSemaphore_take, .failure = ZYL_OSAPI_SEMAPHORE_STATUS_ERROR);
