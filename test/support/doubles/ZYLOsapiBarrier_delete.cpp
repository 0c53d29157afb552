/// @file
/// The double of ZYLOsapiBarrier_delete.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiBarrier.pkg.h"

DOUBLE(1, ZYLOsapiBarrier_delete);
