/// @file
/// The double of DDS_WaitSet_waitI.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"

DOUBLE(3, DDS_WaitSet_waitI, .failure = DDS_RETCODE_ERROR, .shown = {2});
