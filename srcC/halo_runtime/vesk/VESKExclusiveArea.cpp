/// @file
/// Exclusive areas: re-entrant locks that wake as few threads as possible.
///
/// Everything is decided by one word, `_state`, which changes only by compare-and-exchange, so that all its changes
/// have one order. Without contention an entry is one exchange (0 to LOCKED) and a leave another (LOCKED to 0).
/// A thread that finds the area held spins shortly, then queues and sleeps; a leave takes the first waiter out of the
/// queue, marks it WOKEN and wakes it. The woken one has no right to the area: it tries again beside everybody who
/// comes by. While it has not got the area and not queued again, no leave wakes another.
///
/// Why no wake-up is lost. Claim: whenever a thread is queued, the area is LOCKED or somebody is WOKEN.
/// - A thread queues by an exchange that requires LOCKED and sets WAITERS: the claim holds then.
/// - LOCKED is cleared by the holder's last leave only. If that exchange finds WAITERS without WOKEN it is not made;
///   the holder first takes a waiter out of the queue (there is one: it was queued before the mutex that covers the
///   exchange and the queueing was free, and only the holder takes waiters out), and clears LOCKED and sets WOKEN in
///   one exchange. Without WAITERS nobody is queued. With WOKEN the claim goes on holding.
/// - WOKEN is cleared by the woken thread only, either in the exchange that sets LOCKED, or in the exchange that
///   requires LOCKED and queues it again.
/// So while somebody is queued, either a holder is still to leave, and will wake one, or a woken thread is still to
/// try, and will hold the area or find a holder. A wake-up that comes before its sleep is kept by the parking place.
///
/// Nothing of the area is touched after LOCKED is cleared, so that the next holder may destroy it, and nothing of a
/// waiter's record after `_isWoken` is written, because the waiter's stack may be gone then.
///
/// Protection: this is the protection. Everything here is for the worker's own thread.
#include "VESKExclusiveArea.hpp"

#include <climits>
#include <cstring>

#include "../zyl/ZYLLogWords.pkg.hpp"
#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "../zyl/ZYLShared.pkg.hpp"

namespace {

constexpr unsigned LOCKED = VESK_EXCLUSIVE_AREA_LOCKED;
constexpr unsigned WAITERS = VESK_EXCLUSIVE_AREA_WAITERS;
constexpr unsigned WOKEN = VESK_EXCLUSIVE_AREA_WOKEN;

#if defined(ASYNCWAITSET_SIMULATION)
constexpr int spinTurns = 1;  // Turns differ only in length of the schedule.
#else
constexpr int spinTurns = 40;  // Longer than the critical section of a request, shorter than going to sleep.
#endif

/// Change the state if it is still `expected`; otherwise read it.
bool changeState(VESKExclusiveArea *area, unsigned &expected, unsigned desired)
{
    platform::schedulingPoint();
    return std::atomic_ref<unsigned>(area->_state)
        .compare_exchange_strong(expected, desired, std::memory_order_acq_rel, std::memory_order_relaxed);
}

/// Take the area if it is free. `ownMark` is WOKEN for a woken waiter, whose mark goes with it, else 0.
bool takeIfFree(VESKExclusiveArea *area, unsigned ownMark)
{
    unsigned state = sharedRead(area->_state);
    while ((state & LOCKED) == 0)
        if (changeState(area, state, (state | LOCKED) & ~ownMark)) return true;
    return false;
}

bool takeBySpinning(VESKExclusiveArea *area, unsigned ownMark)
{
    for (int turn = 0; turn < spinTurns; ++turn) {
        if (takeIfFree(area, ownMark)) return true;
        ZYLPlatform_pause();
    }
    return false;
}

/// Take the area, or queue for it: at the back, or at the front for a woken waiter, whose turn it was.
/// Returns: whether the area was taken.
bool takeOrQueue(VESKExclusiveArea *area, VESKExclusiveAreaWaiter &waiter, unsigned ownMark)
{
    const platform::Lock lock(area->_queueMutex);
    unsigned state = sharedRead(area->_state);
    for (;;) {
        const bool isFree = (state & LOCKED) == 0;
        if (!changeState(area, state, (state | (isFree ? LOCKED : WAITERS)) & ~ownMark)) continue;
        if (isFree) return true;
        break;
    }
    waiter._isWoken = 0;
    const bool isFront = ownMark != 0 || area->_firstWaiter == nullptr;
    waiter._next = isFront ? area->_firstWaiter : nullptr;
    if (area->_firstWaiter == nullptr)
        area->_lastWaiter = &waiter;
    else if (!isFront)
        area->_lastWaiter = area->_lastWaiter->_next = &waiter;
    if (isFront) area->_firstWaiter = &waiter;
    return false;
}

/// Take the area when it is held by another worker.
/// Blocks.
void takeSlowly(VESKExclusiveArea *area)
{
    if (takeBySpinning(area, 0)) return;
    VESKExclusiveAreaWaiter waiter = {nullptr, ZYLPlatform_currentParker(), 0};
    for (unsigned ownMark = 0; !takeOrQueue(area, waiter, ownMark); ownMark = WOKEN) {
        while (handoffRead(waiter._isWoken) == 0) ZYLPlatform_park(platform::noDeadline_ns, area->_name);
        if (takeBySpinning(area, WOKEN)) return;
    }
}

/// Take the first waiter out of the queue. Requires: WAITERS, and the caller holds the area.
VESKExclusiveAreaWaiter *popWaiter(VESKExclusiveArea *area)
{
    const platform::Lock lock(area->_queueMutex);
    VESKExclusiveAreaWaiter *waiter = area->_firstWaiter;
    area->_firstWaiter = waiter->_next;
    if (area->_firstWaiter != nullptr) return waiter;
    area->_lastWaiter = nullptr;
    unsigned state = sharedRead(area->_state);
    while (!changeState(area, state, state & ~WAITERS)) {
    }
    return waiter;
}

/// Give the area up and wake at most one waiter.
void release(VESKExclusiveArea *area)
{
    unsigned state = LOCKED;
    while ((state & (WAITERS | WOKEN)) != WAITERS)
        if (changeState(area, state, state & ~LOCKED)) return;

    VESKExclusiveAreaWaiter *waiter = popWaiter(area);
    platform::Parker *parker = waiter->_parker;
    state = sharedRead(area->_state);
    while (!changeState(area, state, (state & ~LOCKED) | WOKEN)) {
    }
    handoffWrite(waiter->_isWoken, 1);
    ZYLPlatform_unpark(parker);
}

/// Report, once per area, that it is entered although its level is not above all that the worker holds.
void witnessOrder(const VESKWorker *worker, VESKExclusiveArea *area)
{
    if (!ZYLLog_isEnabled(ZYL_LOG_LEVEL_NOTICE, DDS_SUBMODULE_MASK_INFRASTRUCTURE)) return;
    const VESKExclusiveArea *highest = worker->_lastHeld;
    for (const VESKExclusiveArea *held = highest; held != nullptr; held = held->_nextHeld)
        if (held->_level > highest->_level) highest = held;
    if (highest == nullptr || area->_level > highest->_level) return;
    if (handoffExchange(area->_isOrderReported, 1) != 0) return;
    ZYL_PRINT(ZYL_LOG_LEVEL_NOTICE, DDS_SUBMODULE_MASK_INFRASTRUCTURE, VESK_LOG_WORKER_LEVEL_ORDER_sdsd, area->_name,
              area->_level, highest->_name, highest->_level);
}

void forgetHeld(VESKWorker *worker, const VESKExclusiveArea *area)
{
    VESKExclusiveArea **link = &worker->_lastHeld;
    while (*link != nullptr && *link != area) link = &(*link)->_nextHeld;
    if (*link == nullptr) return;
    *link = area->_nextHeld;
    --worker->_heldCount;
}

}  // namespace

VESKExclusiveArea *VESKWorkerFactory_createExclusiveAreaEx(VESKWorkerFactory *self, int level, const char *name)
{
    if (self == nullptr || name == nullptr || level < -INT_MAX) return nullptr;
    const std::size_t nameSize = std::strlen(name) + 1;
    void *block = nullptr;
    if (ZYLOsapiHeap_reallocateMemoryInternal(&block, sizeof(VESKExclusiveArea) + nameSize, ZYL_OSAPI_HEAP_DEFAULT, 0,
                                              0, "ZYLOsapiHeap_allocateStructure", ZYL_OSAPI_STRUCT_ALLOC,
                                              "struct VESKExclusiveArea") == 0)
        return nullptr;
    auto *area = static_cast<VESKExclusiveArea *>(block);
    char *ownName = reinterpret_cast<char *>(area + 1);
    std::memcpy(ownName, name, nameSize);
    *area = {0, nullptr, 0, nullptr, level, 0, ownName, {}, nullptr, nullptr};
    ZYLPlatform_initMutex(area->_queueMutex, "queue of an exclusive area");
    return area;
}

void VESKWorkerFactory_destroyExclusiveArea(VESKWorkerFactory *self, VESKExclusiveArea *area)
{
    if (area == nullptr) return;
    // After a leave that failed the calling worker can still have it in its chain.
    if (self != nullptr && area->_owner != nullptr && area->_owner == ZYLPlatform_threadBlock(self->_workerKey))
        forgetHeld(area->_owner, area);
    ZYLPlatform_destroyMutex(area->_queueMutex);
    ZYLOsapiHeap_freeStructure(area);
}

/// Not analyzed: this is where the capability comes from.
ZYL_NOT_ANALYZED int VESKWorker_enterExclusiveArea(VESKWorker *self, void *, VESKExclusiveArea *area)
{
    if (self == nullptr || area == nullptr) return 0;
    if (sharedRead(area->_owner) == self) {
        ++area->_depth;
        return 1;
    }
    if (self->_lastHeld != nullptr) witnessOrder(self, area);
    unsigned state = 0;
    if (!changeState(area, state, LOCKED)) takeSlowly(area);
    sharedWrite(area->_owner, self);
    area->_depth = 1;
    area->_nextHeld = self->_lastHeld;
    self->_lastHeld = area;
    ++self->_heldCount;
    return 1;
}

/// Not analyzed: this is where the capability goes to.
ZYL_NOT_ANALYZED int VESKWorker_leaveExclusiveArea(VESKWorker *self, void *, VESKExclusiveArea *area)
{
    if (self == nullptr || area == nullptr || sharedRead(area->_owner) != self) return 0;
    if (--area->_depth > 0) return 1;
    forgetHeld(self, area);
    sharedWrite(area->_owner, static_cast<VESKWorker *>(nullptr));
    release(area);
    return 1;
}

int VESKWorker_getExclusiveAreaDepth(const VESKWorker *self, const VESKExclusiveArea *area)
{
    if (self == nullptr || area == nullptr || sharedRead(area->_owner) != self) return 0;
    return area->_depth;
}
