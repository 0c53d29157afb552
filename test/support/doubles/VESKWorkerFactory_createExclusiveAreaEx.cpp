/// @file
/// The double of VESKWorkerFactory_createExclusiveAreaEx.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKExclusiveArea.pkg.h"

DOUBLE(3, VESKWorkerFactory_createExclusiveAreaEx, .failure = nullptr, .shown = {1, 2});
