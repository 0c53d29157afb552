/// @file
/// The body of a pool thread.
///
/// Who may call: the thread factory, on a thread of its own.
#ifndef ASYNC_WAIT_SET_RUN_HPP
#define ASYNC_WAIT_SET_RUN_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// The body of a pool thread. @return null.
void *DDS_AsyncWaitSet_run(void *threadParam);

}  // extern "C"

#endif
