/// @file
/// Reporting executions as finished.
#ifndef ASYNC_WAIT_SET_NOTIFICATION_HPP
#define ASYNC_WAIT_SET_NOTIFICATION_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Report one execution finished; the last one completes the request. Critical section held.
DDS_ReturnCode_t DDS_AsyncWaitSet_notifyTaskExecutedI(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo);
/// The same; takes the critical section itself.
DDS_ReturnCode_t DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo);

}  // extern "C"

#endif
