/// @file
/// The double of DDS_WaitSet_newI.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"

DOUBLE(3, DDS_WaitSet_newI, .failure = nullptr, .shown = {1, 2});
