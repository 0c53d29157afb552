/// @file
/// The double of ZYLOsapiThread_getCpuInfo.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

DOUBLE(2, ZYLOsapiThread_getCpuInfo, .failure = 0);
