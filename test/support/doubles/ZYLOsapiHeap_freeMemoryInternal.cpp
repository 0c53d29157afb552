/// @file
/// The double of ZYLOsapiHeap_freeMemoryInternal.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

DOUBLE(5, ZYLOsapiHeap_freeMemoryInternal, .shown = {0});
