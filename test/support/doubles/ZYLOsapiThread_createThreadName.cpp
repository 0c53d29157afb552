/// @file
/// The double of ZYLOsapiThread_createThreadName.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

DOUBLE(4, ZYLOsapiThread_createThreadName, .shown = {1, 2, 3});
