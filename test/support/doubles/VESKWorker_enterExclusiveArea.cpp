/// @file
/// The double of VESKWorker_enterExclusiveArea.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKExclusiveArea.pkg.h"

DOUBLE(3, VESKWorker_enterExclusiveArea, .failure = 0, .shown = {2});
