/// @file
/// What a start does first: find the threads of an earlier start that are not gone yet, and wait for them or retire
/// them.
///
/// Protection: the critical section; it is left and entered again while waiting and retiring.
#ifndef ASYNC_WAIT_SET_OLD_POOL_HPP
#define ASYNC_WAIT_SET_OLD_POOL_HPP

#include "AsyncWaitSetRecords.pkg.h"

/// What a start has to do after it has looked for an old pool.
enum class AWSReadiness {
    ready,           ///< No old pool is left, or submission will refuse this start anyway.
    alreadyStarted,  ///< Nothing to do.
    refused,         ///< The calling thread must not wait for the old pool.
    enterFailed,     ///< The critical section could not be had back.
    leaveFailed      ///< It could not be given up.
};

/// Look for an old pool, and wait until it is gone.
/// Blocks. Calls out: the thread factory, outside the critical section.
AWSReadiness AWS_awaitOldPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);

#endif
