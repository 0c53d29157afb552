/// @file
/// Taking leadership and giving it up.
///
/// Who may call: pool threads, never inside the critical section.
#ifndef ASYNC_WAIT_SET_LEADERSHIP_HPP
#define ASYNC_WAIT_SET_LEADERSHIP_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Give leadership up. @return 1, or 0 on failure.
int DDS_AsyncWaitSet_promoteNewLeader(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);
/// Blocks until the calling thread leads. @return 1, or 0 on failure.
int DDS_AsyncWaitSet_becomeNewLeader(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);

}  // extern "C"

#endif
