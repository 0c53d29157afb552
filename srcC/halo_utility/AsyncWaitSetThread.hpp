/// @file
/// Pool threads from the outside: their records and their creation.
///
/// Who may call: the controlling thread, while no thread runs in the record.
#ifndef ASYNC_WAIT_SET_THREAD_HPP
#define ASYNC_WAIT_SET_THREAD_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// @return 1, or 0 for a null argument.
int DDS_AsyncWaitSetThread_initialize(struct DDS_AsyncWaitSetThread *self, DDS_AsyncWaitSet *owner);
/// Join the thread, if any, and release what the record holds.
/// Blocks. Calls out: the thread factory.
void DDS_AsyncWaitSetThread_finalize(struct DDS_AsyncWaitSetThread *self);
/// Recycle the record at the index and start a thread in it. Critical section held.
/// Calls out: the thread factory.
DDS_ReturnCode_t DDS_AsyncWaitSet_createThread(DDS_AsyncWaitSet *self, DDS_Long threadIndex);

}  // extern "C"

#endif
