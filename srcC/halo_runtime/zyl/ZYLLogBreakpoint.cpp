/// @file
/// The hook that every precondition failure calls. It stands alone, so that no compiler can see through it.
///
/// Protection: thread-safe; does nothing.
#include "dds_c/dds_c_log.h"

void ZYLLog_onAssertBreakpoint(void) {}
