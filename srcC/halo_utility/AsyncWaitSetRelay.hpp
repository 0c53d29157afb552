/// @file
/// What the listener hears of pool threads.
///
/// Who may call: the pool thread that is reported, without the critical section.
#ifndef ASYNC_WAIT_SET_RELAY_HPP
#define ASYNC_WAIT_SET_RELAY_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Lead and report the thread. Calls out: the listener. Blocks until it leads.
void DDS_AsyncWaitSet_onThreadSpawned(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);
/// Calls out: the listener. Leadership held.
void DDS_AsyncWaitSet_onWaitTimeout(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);
/// Report the thread and give leadership up. Calls out: the listener.
void DDS_AsyncWaitSet_onThreadDeleted(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);

}  // extern "C"

#endif
