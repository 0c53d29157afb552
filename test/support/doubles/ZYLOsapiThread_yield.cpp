/// @file
/// The double of ZYLOsapiThread_yield.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

DOUBLE(0, ZYLOsapiThread_yield);
