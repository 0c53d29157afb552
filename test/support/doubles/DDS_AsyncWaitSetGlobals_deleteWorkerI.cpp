/// @file
/// The double of DDS_AsyncWaitSetGlobals_deleteWorkerI.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetGlobals.pkg.h"

DOUBLE(2, DDS_AsyncWaitSetGlobals_deleteWorkerI, .shown = {1});
