/// @file
/// The double of ZYLOsapiThread_tssDestructorsAreEnabled.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

DOUBLE(0, ZYLOsapiThread_tssDestructorsAreEnabled, .failure = 0);
