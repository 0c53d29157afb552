/// @file
/// The double of DDS_AsyncWaitSetThread_finalize.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(1, DDS_AsyncWaitSetThread_finalize, .shown = {0});
