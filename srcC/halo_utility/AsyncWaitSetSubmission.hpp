/// @file
/// Submitting from inside the critical section; the public form is in AsyncWaitSet.pkg.h.
#ifndef ASYNC_WAIT_SET_SUBMISSION_HPP
#define ASYNC_WAIT_SET_SUBMISSION_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Queue a request, or execute it here when the wait set is not started. Critical section held.
/// Calls out: the listener, when executed here.
DDS_ReturnCode_t DDS_AsyncWaitSet_submitTaskI(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                              DDS_AsyncWaitSetCompletionToken *completionToken);

}  // extern "C"

/// The task that suspend and resume submit. It is known by its address: they make sense only in a started wait set, and
/// submission tests that once more under the critical section in which it queues. When it finds the wait set not
/// started, DDS_AsyncWaitSet_submit_task answers DDS_RETCODE_NOT_ENABLED, which has no other cause here, without a
/// message.
extern DDS_Task AWS_setStateOfStarted;

#endif
