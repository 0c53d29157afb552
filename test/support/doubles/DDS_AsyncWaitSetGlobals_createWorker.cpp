/// @file
/// The double of DDS_AsyncWaitSetGlobals_createWorker.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetGlobals.pkg.h"

DOUBLE(2, DDS_AsyncWaitSetGlobals_createWorker, .failure = nullptr, .shown = {1});
