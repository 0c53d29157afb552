/// @file
/// The double of ZYLLog_onAssertBreakpoint.
#include "Double.hpp"
#include "dds_c/dds_c_log.h"

DOUBLE(0, ZYLLog_onAssertBreakpoint);
