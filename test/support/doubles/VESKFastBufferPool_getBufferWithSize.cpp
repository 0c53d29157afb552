/// @file
/// The double of VESKFastBufferPool_getBufferWithSize.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKFastBufferPool.pkg.h"

DOUBLE(2, VESKFastBufferPool_getBufferWithSize, .failure = nullptr, .shown = {1});
