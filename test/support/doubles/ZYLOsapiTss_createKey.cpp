/// @file
/// The double of ZYLOsapiTss_createKey.
#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiTss.pkg.h"

DOUBLE(1, ZYLOsapiTss_createKey, .failure = 0);
