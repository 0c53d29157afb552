/// @file
/// The pool's side of a request: claim it, execute it, meet the others at the barrier.
///
/// Who may call: pool threads, outside the critical section.
#ifndef ASYNC_WAIT_SET_EXECUTION_HPP
#define ASYNC_WAIT_SET_EXECUTION_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Claim and execute what is queued, then meet the other threads. On a pool thread that leads (or that just begins);
/// returns as leader unless `*pendingStopTaskOut` is set.
/// Blocks. Calls out: the listener.
DDS_ReturnCode_t DDS_AsyncWaitSet_executeInternalTasks(DDS_AsyncWaitSet *self,
                                                       struct DDS_AWSTaskInfo **pendingStopTaskOut,
                                                       struct DDS_AsyncWaitSetThread *thread);
/// Wait at the barrier `waitCycleCount` times. Leadership given up. @return 1, or 0 on failure.
/// Blocks.
int DDS_AsyncWaitSet_waitForThreads(DDS_AsyncWaitSet *self, DDS_Long waitCycleCount);

}  // extern "C"

/// Pass the barrier `cycleCount` times, leadership given up. Returns: false when one of them failed.
/// Blocks.
bool AWS_passBarrier(DDS_AsyncWaitSet *self, DDS_Long cycleCount);

#endif
