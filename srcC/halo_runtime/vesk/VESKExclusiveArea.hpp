/// @file
/// The records behind exclusive areas and their factory, for this folder only.
///
/// Protection: with each field.
#ifndef VESK_EXCLUSIVE_AREA_HPP
#define VESK_EXCLUSIVE_AREA_HPP

#include "../platform/Platform.hpp"
#include "VESKExclusiveArea.pkg.h"
#include "VESKInlineList.pkg.h"

/// Creates exclusive areas. There is one in the process.
struct VESKWorkerFactory {
    platform::ThreadKey _workerKey;  ///< Key of the worker in the thread's storage.
    platform::Mutex _serviceMutex;
    /// Those that have begun and not ended.
    VESKInlineList _services ZYL_GUARDED_BY(_serviceMutex);
    /// Of the service that began last.
    std::uint64_t _lastSerial ZYL_GUARDED_BY(_serviceMutex);
};

/// A thread that sleeps until it is its turn to try again. Lives on that thread's stack.
struct VESKExclusiveAreaWaiter {
    VESKExclusiveAreaWaiter *_next;
    platform::Parker *_parker;  ///< Const while queued.
    int _isWoken ZYL_SHARED;    ///< Handoff: 1 is the last that the waker touches of this record.
};

/// Bits of an area's state.
enum VESKExclusiveAreaState : unsigned {
    VESK_EXCLUSIVE_AREA_LOCKED = 1U,   ///< A worker holds the area.
    VESK_EXCLUSIVE_AREA_WAITERS = 2U,  ///< The queue is not empty. Changes only under the queue's mutex.
    VESK_EXCLUSIVE_AREA_WOKEN = 4U     ///< A waiter was woken and has neither got the area nor queued again.
};

struct ZYL_CAPABILITY("exclusive area") VESKExclusiveArea {
    unsigned _state ZYL_SHARED;       ///< VESKExclusiveAreaState; handoff from each holder to the next.
    VESKWorker *_owner ZYL_SHARED;    ///< The holder; written by the holder. Whoever reads itself here holds the area.
    int _depth;                       ///< Entries not left; touched by the holder.
    VESKExclusiveArea *_nextHeld;     ///< What its holder entered before it; touched by the holder.
    int _level;                       ///< Const after creation.
    int _isOrderReported ZYL_SHARED;  ///< A wrong order of this area has been reported.
    const char *_name;                ///< Const after creation; stored behind the record.
    platform::Mutex _queueMutex;
    VESKExclusiveAreaWaiter *_firstWaiter ZYL_GUARDED_BY(_queueMutex);
    VESKExclusiveAreaWaiter *_lastWaiter ZYL_GUARDED_BY(_queueMutex);
};

#endif
