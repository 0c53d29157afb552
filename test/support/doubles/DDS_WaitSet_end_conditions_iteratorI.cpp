/// @file
/// The double of DDS_WaitSet_end_conditions_iteratorI.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"

DOUBLE(1, DDS_WaitSet_end_conditions_iteratorI);
