/// @file
/// The double of VESKWorker_leaveExclusiveArea. A leave that fails has left all the same: only the
/// operation has failed.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKExclusiveArea.pkg.h"

DOUBLE(3, VESKWorker_leaveExclusiveArea, .failure = 0, .failsAfter = doubled::FailsAfter::doingIt, .shown = {2});
