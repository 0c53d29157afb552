/// @file
/// The double of VESKWorkerFactory_destroyExclusiveArea.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKExclusiveArea.pkg.h"

DOUBLE(2, VESKWorkerFactory_destroyExclusiveArea, .shown = {1});
