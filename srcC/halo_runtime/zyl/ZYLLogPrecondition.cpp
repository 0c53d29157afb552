/// @file
/// What a precondition failure does besides its message, and the place for a debugger to stop.
///
/// Protection: thread-safe, no lock.
#include "ZYLLogWords.pkg.hpp"
#include "ZYLShared.pkg.hpp"

void ZYLLog_reportPrecondition(void)
{
    if (sharedRead(ZYLLog_g_detectPrecondition) != 0) sharedWrite(ZYLLog_g_preconditionDetected, 1);
    ZYLLog_onAssertBreakpoint();
}
