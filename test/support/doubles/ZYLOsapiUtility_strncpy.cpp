/// @file
/// The double of ZYLOsapiUtility_strncpy.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

DOUBLE(4, ZYLOsapiUtility_strncpy, .failure = nullptr, .shown = {1, 2, 3});
