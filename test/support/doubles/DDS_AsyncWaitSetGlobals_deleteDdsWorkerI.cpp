/// @file
/// The double of DDS_AsyncWaitSetGlobals_deleteDdsWorkerI.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetGlobals.pkg.h"

DOUBLE(2, DDS_AsyncWaitSetGlobals_deleteDdsWorkerI, .shown = {1});
