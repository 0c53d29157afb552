/// @file
/// The double of DDS_AsyncWaitSetGlobals_setThreadSpecific.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetGlobals.pkg.h"

DOUBLE(2, DDS_AsyncWaitSetGlobals_setThreadSpecific, .failure = 0, .shown = {1});
