/// @file
/// The double of VESKFastBufferPool_newWithParams.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKFastBufferPool.pkg.h"

DOUBLE(9, VESKFastBufferPool_newWithParams, .failure = nullptr, .shown = {7});
