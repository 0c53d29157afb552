/// @file
/// The double of VESKWorkerPerThread_initialize.
#include "Double.hpp"
#include "halo_runtime/vesk/VESKWorker.pkg.h"

DOUBLE(1, VESKWorkerPerThread_initialize, .failure = 0);
