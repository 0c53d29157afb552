/// @file
/// The double of DDS_WaitSet_start_conditions_iteratorI.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"

DOUBLE(2, DDS_WaitSet_start_conditions_iteratorI, .failure = -1, .shown = {1});
