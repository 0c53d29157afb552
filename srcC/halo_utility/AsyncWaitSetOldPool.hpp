/// @file
/// What a start does first: find the threads of an earlier start that are not gone yet, and wait for them or retire
/// them.
///
/// Protection: the critical section; it is left and entered again while waiting and retiring.
#ifndef ASYNC_WAIT_SET_OLD_POOL_HPP
#define ASYNC_WAIT_SET_OLD_POOL_HPP

#include "AsyncWaitSetLog.hpp"

/// Look for an old pool, and wait until it is gone, or the wait set is started, or submission will refuse the start
/// anyway. The step fails when the calling thread must not wait, or when the critical section was lost on the way.
/// Speaks for the operation where the nesting rule refuses.
/// Blocks. Calls out: the thread factory, outside the critical section.
AWSStep AWS_awaitOldPool(DDS_AsyncWaitSet *self, const char *operation) ZYL_REQUIRES(self->_criticalSectionEA);

/// Whether the wait set is started, as a start sees it: not by a recovery that has started it only to stop it.
bool AWS_isStartedForGood(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);

#endif
