/// @file
/// The five internal tasks.
///
/// Executed once by every pool thread without the critical section, or by the submitting thread inside it. All return
/// null and report through the token's retCode.
#ifndef ASYNC_WAIT_SET_TASK_HPP
#define ASYNC_WAIT_SET_TASK_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

void *DDS_AsyncWaitSetTask_start(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_stop(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_attachCondition(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_detachCondition(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_setState(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);

}  // extern "C"

#endif
