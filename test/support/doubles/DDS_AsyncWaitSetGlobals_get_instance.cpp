/// @file
/// The double of DDS_AsyncWaitSetGlobals_get_instance.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetGlobals.pkg.h"

DOUBLE(0, DDS_AsyncWaitSetGlobals_get_instance, .failure = nullptr);
