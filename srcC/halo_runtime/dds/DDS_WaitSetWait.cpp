/// @file
/// Events and the wait that they end.
///
/// A sleeping waiter publishes itself under the event mutex together with the moment until which it sleeps. Whoever
/// changes something under that mutex takes the waiter out if its wait ends now, or ends earlier than it sleeps, and
/// wakes it when all locks have been released. So a waiter is woken at most once for each sleep, and never for an event
/// that does not end its wait.
///
/// What is active goes into the caller's sequence under that mutex. Nothing is printed there: a sequence without room
/// grows, or says why it cannot, while the mutex is released, and then everything is looked at again.
///
/// Protection: the wait set's event mutex; the wait state and the sequence belong to the thread that waits.
#include <algorithm>
#include <optional>
#include <utility>

#include "../vesk/VESKInlineListView.pkg.hpp"
#include "../zyl/ZYLTime.pkg.h"
#include "DDS_ConditionSeq.hpp"
#include "DDS_Duration.pkg.h"
#include "DDS_Log.hpp"
#include "DDS_WaitSet.hpp"
#include "DDS_WaitSet.pkg.h"

namespace {

/// The active attachments: the due ones before the fresh ones.
using Active = VESKInlineListView<DDS_WaitSetAttachment>;

DDS_WaitSetAttachment *firstActive(const DDS_WaitSet *self) ZYL_REQUIRES(self->_eventMutex)
{
    return Active{self->_active}.first();
}

/// Whether the wait ends with OK whatever the time is: something is due, or enough events have gathered.
bool hasEnoughEvents(const DDS_WaitSet *self) ZYL_REQUIRES(self->_eventMutex)
{
    const bool isAnyDue = firstActive(self) != self->_firstFresh;  // The due ones stand before the fresh ones.
    return isAnyDue || self->_freshEvents >= self->_property.max_event_count;
}

/// When the wait stops collecting events.
std::int64_t collectDeadline_ns(const DDS_WaitSet *self) ZYL_REQUIRES(self->_eventMutex)
{
    const DDS_WaitSetAttachment *const oldest = self->_firstFresh;
    if (oldest == nullptr) return platform::noDeadline_ns;
    DDS_WaitSetAttachment_claimOfEvents(oldest);
    return ZYLTime_deadline_ns(oldest->_firstEventTime_ns, self->_maxEventDelay_ns);
}

/// Sleep once; the event mutex is released meanwhile.
/// Blocks.
void sleepUntil(DDS_WaitSet *self, std::int64_t deadline_ns) ZYL_REQUIRES(self->_eventMutex)
{
    self->_sleeper = ZYLPlatform_currentParker();
    self->_sleepDeadline_ns = deadline_ns;
    ZYLPlatform_unlock(self->_eventMutex);
    ZYLPlatform_park(deadline_ns, "wait set");
    ZYLPlatform_lock(self->_eventMutex);
    self->_sleeper = nullptr;
}

/// Until when a wait lasts if nothing ends it.
struct TimeLimit {
    std::int64_t timeout_ns;
    std::optional<std::int64_t>
        deadline_ns;  ///< Unknown until it is needed: many waits end without a look at the clock.
};

/// Sleep until the wait ends.
/// Returns: whether it ends with something active.
/// Blocks.
bool sleepUntilEnd(DDS_WaitSet *self, TimeLimit *limit) ZYL_REQUIRES(self->_eventMutex)
{
    if (hasEnoughEvents(self)) return true;
    if (!limit->deadline_ns) limit->deadline_ns = ZYLTime_deadline_ns(ZYLPlatform_now_ns(), limit->timeout_ns);
    while (!hasEnoughEvents(self)) {
        const std::int64_t now_ns = ZYLPlatform_now_ns();
        if (now_ns >= collectDeadline_ns(self)) return true;
        if (now_ns >= *limit->deadline_ns) return firstActive(self) != nullptr;
        sleepUntil(self, std::min(collectDeadline_ns(self), *limit->deadline_ns));
    }
    return true;
}

/// Give the sequence room for what is active, and at once for all that ever can be: as much of that as it may hold, or
/// nothing beyond what is active if memory is short. The event mutex is released meanwhile.
/// Returns: false when there is no room to be had.
bool makeRoom(DDS_WaitSet *self, DDS_ConditionSeq *conditions) ZYL_REQUIRES(self->_eventMutex)
{
    const DDS_Long active = self->_active._size;
    const DDS_Long attached = self->_attachedCount;
    ZYLPlatform_unlock(self->_eventMutex);
    const DDS_Long wanted = std::max(active, DDS_ConditionSeq_boundI(conditions, attached));
    bool hasRoom = DDS_ConditionSeq_ensure_length(conditions, active, wanted) != DDS_BOOLEAN_FALSE;
    if (!hasRoom && wanted > active && DDS_ConditionSeq_canGrowI(conditions))
        hasRoom = DDS_ConditionSeq_ensure_length(conditions, active, active) != DDS_BOOLEAN_FALSE;
    ZYLPlatform_lock(self->_eventMutex);
    return hasRoom;
}

/// Copy the active conditions into the sequence, which has room for them.
/// Returns: false when a place for one is missing in it.
bool fillIn(const DDS_WaitSet *self, DDS_ConditionSeq *conditions) ZYL_REQUIRES(self->_eventMutex)
{
    const auto length = static_cast<DDS_UnsignedLong>(self->_active._size);
    if (DDS_ConditionSeq_set_length(conditions, length) == DDS_BOOLEAN_FALSE) return false;
    DDS_Condition_ptr *const elements = DDS_ConditionSeq_get_contiguous_bufferI(conditions);
    DDS_Condition_ptr **const places = DDS_ConditionSeq_get_discontiguous_bufferI(conditions);
    DDS_Long i = 0;
    for (const DDS_WaitSetAttachment *attachment : Active{self->_active}) {
        DDS_Condition_ptr *const element = elements != nullptr ? &elements[i] : places[i];
        if (element == nullptr) return false;
        *element = attachment->_condition;
        ++i;
    }
    return true;
}

/// How a wait ends.
enum class End { timeOut, reported, noRoom };

/// Sleep until the wait ends, and copy what is active then into the sequence.
/// Blocks.
End waitAndFillIn(DDS_WaitSet *self, DDS_ConditionSeq *conditions, TimeLimit limit) ZYL_REQUIRES(self->_eventMutex)
{
    while (sleepUntilEnd(self, &limit)) {
        if (DDS_ConditionSeq_hasRoomI(conditions, self->_active._size))
            return fillIn(self, conditions) ? End::reported : End::noRoom;
        if (!makeRoom(self, conditions)) return End::noRoom;
    }
    return End::timeOut;
}

/// Make the fresh attachments due; they stay where they are in the list.
void makeAllDue(DDS_WaitSet *self) ZYL_REQUIRES(self->_eventMutex)
{
    for (DDS_WaitSetAttachment *attachment = self->_firstFresh; attachment != nullptr;) {
        DDS_WaitSetAttachment_claimOfEvents(attachment);
        attachment->_mark = DDS_WaitSetMark::due;
        attachment->_events = 0;
        attachment = Active::next(attachment);
    }
    self->_firstFresh = nullptr;
    self->_freshEvents = 0;
}

}  // namespace

platform::Parker *DDS_WaitSet_takeSleeperI(DDS_WaitSet *self)
{
    if (self->_sleeper == nullptr) return nullptr;
    if (!hasEnoughEvents(self) && collectDeadline_ns(self) >= self->_sleepDeadline_ns) return nullptr;
    return std::exchange(self->_sleeper, nullptr);
}

platform::Parker *DDS_WaitSetAttachment_addEvent(DDS_WaitSetAttachment *self)
{
    const platform::Lock lock(self->_waitSet->_eventMutex);
    if (self->_mark == DDS_WaitSetMark::due) return nullptr;
    if (self->_mark == DDS_WaitSetMark::idle) {
        self->_mark = DDS_WaitSetMark::fresh;
        self->_firstEventTime_ns = ZYLPlatform_now_ns();
        VESKInlineList_addNodeToBackEA(&self->_waitSet->_active, &self->_activeNode);
        if (self->_waitSet->_firstFresh == nullptr) self->_waitSet->_firstFresh = self;
    }
    self->_events += 1;
    self->_waitSet->_freshEvents += 1;
    return DDS_WaitSet_takeSleeperI(self->_waitSet);
}

platform::Parker *DDS_WaitSetAttachment_makeDue(DDS_WaitSetAttachment *self)
{
    const platform::Lock lock(self->_waitSet->_eventMutex);
    self->_mark = DDS_WaitSetMark::due;
    if (self->_waitSet->_firstFresh == nullptr)
        VESKInlineList_addNodeToBackEA(&self->_waitSet->_active, &self->_activeNode);
    else
        VESKInlineList_addNodeBeforeEA(&self->_waitSet->_active, &self->_waitSet->_firstFresh->_activeNode,
                                       &self->_activeNode);
    return DDS_WaitSet_takeSleeperI(self->_waitSet);
}

void DDS_WaitSetAttachment_withdraw(DDS_WaitSetAttachment *self)
{
    const platform::Lock lock(self->_waitSet->_eventMutex);
    if (self->_mark == DDS_WaitSetMark::idle) return;
    if (self->_waitSet->_firstFresh == self) self->_waitSet->_firstFresh = Active::next(self);
    VESKInlineList_removeNodeEA(&self->_waitSet->_active, &self->_activeNode);
    self->_waitSet->_freshEvents -= self->_events;
    self->_events = 0;
    self->_mark = DDS_WaitSetMark::idle;
}

DDS_ReturnCode_t DDS_WaitSet_waitI(DDS_WaitSet *self, struct DDS_ConditionSeq *active_conditions,
                                   const struct DDS_Duration_t *timeout)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (active_conditions == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, active_conditions);
    if (DDS_Duration_is_valid_timeout(timeout) == 0) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, timeout);

    ZYLPlatform_lock(self->_eventMutex);
    if (handoffRead(self->_waitState) != DDS_WAIT_SET_IDLE) {
        ZYLPlatform_unlock(self->_eventMutex);
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "another wait is in progress on this wait set");
    }
    handoffWrite(self->_waitState, DDS_WAIT_SET_WAITING);
    const End end = waitAndFillIn(self, active_conditions, {DDS_Duration_to_ns(timeout), std::nullopt});
    if (end == End::reported) makeAllDue(self);
    handoffWrite(self->_waitState, end == End::reported ? DDS_WAIT_SET_WOKEN : DDS_WAIT_SET_IDLE);
    ZYLPlatform_unlock(self->_eventMutex);

    if (end == End::reported) return DDS_RETCODE_OK;
    if (end == End::noRoom)
        return DDS_FAILED(DDS_RETCODE_OUT_OF_RESOURCES, "ensure length of active conditions sequence");
    if (DDS_ConditionSeq_set_length(active_conditions, 0) == DDS_BOOLEAN_FALSE)
        return DDS_FAILED(DDS_RETCODE_ERROR, "set length of active conditions sequence");
    return DDS_RETCODE_TIMEOUT;
}

void DDS_WaitSet_end_waitI(DDS_WaitSet *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(static_cast<void>(0), self);
    // No lock: in the woken state only the thread that waited, which is the caller, changes the state.
    if (handoffRead(self->_waitState) == DDS_WAIT_SET_WOKEN) handoffWrite(self->_waitState, DDS_WAIT_SET_IDLE);
}

DDS_ReturnCode_t DDS_WaitSet_wait(DDS_WaitSet *self, struct DDS_ConditionSeq *active_conditions,
                                  const struct DDS_Duration_t *timeout)
{
    const DDS_ReturnCode_t retCode = DDS_WaitSet_waitI(self, active_conditions, timeout);
    if (retCode == DDS_RETCODE_OK) DDS_WaitSet_end_waitI(self);
    return retCode;
}
