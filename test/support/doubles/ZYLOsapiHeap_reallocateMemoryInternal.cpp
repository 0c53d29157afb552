/// @file
/// The double of ZYLOsapiHeap_reallocateMemoryInternal. It is noted with the name of the type.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

DOUBLE(8, ZYLOsapiHeap_reallocateMemoryInternal, .failure = 0, .shown = {7});
