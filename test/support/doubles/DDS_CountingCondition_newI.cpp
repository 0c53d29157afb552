/// @file
/// The double of DDS_CountingCondition_newI.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"

DOUBLE(1, DDS_CountingCondition_newI, .failure = nullptr);
