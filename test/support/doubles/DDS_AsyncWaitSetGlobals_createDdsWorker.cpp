/// @file
/// The double of DDS_AsyncWaitSetGlobals_createDdsWorker.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetGlobals.pkg.h"

DOUBLE(2, DDS_AsyncWaitSetGlobals_createDdsWorker, .failure = nullptr, .shown = {1});
