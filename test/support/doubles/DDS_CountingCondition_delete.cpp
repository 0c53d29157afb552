/// @file
/// The double of DDS_CountingCondition_delete.
#include "Double.hpp"
#include "dds_c/dds_c_condition.h"

DOUBLE(1, DDS_CountingCondition_delete, .failure = DDS_RETCODE_NOT_ENABLED);
