/// @file
/// The double of ZYLOsapiUtility_strncat.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

DOUBLE(4, ZYLOsapiUtility_strncat, .failure = nullptr, .shown = {1, 2, 3});
