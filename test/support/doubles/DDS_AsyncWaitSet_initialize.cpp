/// @file
/// The double of DDS_AsyncWaitSet_initialize.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(8, DDS_AsyncWaitSet_initialize, .failure = 0);
