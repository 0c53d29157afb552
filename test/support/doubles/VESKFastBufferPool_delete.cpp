/// @file
/// The double of VESKFastBufferPool_delete.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKFastBufferPool.pkg.h"

DOUBLE(1, VESKFastBufferPool_delete, .shown = {0});
