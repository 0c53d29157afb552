/// @file
/// The double of ZYLOsapiBarrier_new.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiBarrier.pkg.h"

DOUBLE(1, ZYLOsapiBarrier_new, .failure = nullptr, .shown = {0});
