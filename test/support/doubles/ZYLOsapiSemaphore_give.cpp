/// @file
/// The double of ZYLOsapiSemaphore_give.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

DOUBLE(1, ZYLOsapiSemaphore_give, .failure = ZYL_OSAPI_SEMAPHORE_STATUS_ERROR);
