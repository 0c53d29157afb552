/// @file
/// The plain wait set's records, and the essay on the locks of this folder.
///
/// A condition that is attached to a wait set has one *attachment* there. An attachment is *active* while its condition
/// is triggered and it is not masked, and an active attachment is either fresh or due:
///
/// - idle: its condition has fallen, is masked or was never triggered; it does nothing to a wait. Becoming idle takes
///   its mark and its events away.
/// - fresh: its condition rose while unmasked, or was attached triggered. That is one event, and each further one adds
///   to it. It ends a wait when the events of all fresh ones reach `max_event_count`, or when `max_event_delay` has
///   passed since the oldest of them.
/// - due: it was unmasked while triggered, or a wait that returned OK reported it. It ends a wait at once.
///
/// A wait that ends with OK reports all active attachments and makes them due in one step.
///
/// Locks, in the order in which they are taken; none of them is held when application code runs.
///
/// 1. A wait set's `_attachMutex`: which conditions are attached. Taken by attach, detach, delete, and for a whole walk
///    over the conditions. Triggers, masks and waits do without it, so they go on during a walk.
/// 2. A condition's `_mutex`: its trigger value, and its attachments in all wait sets. Taken by every change of the
///    trigger value and by masks.
/// 3. A wait set's `_eventMutex`: what is fresh and due, the property, who sleeps. A leaf; several of them are taken
///    one after the other by a condition that is attached to several wait sets, never together.
///
/// A sleeper is woken after all locks have been released (DDS_WaitSetWakeList), so that it does not run into one.
#ifndef DDS_WAIT_SET_HPP
#define DDS_WAIT_SET_HPP

#include "../vesk/VESKInlineList.pkg.h"
#include "DDS_Condition.hpp"
#include "dds_c/dds_c_waitset.h"

/// Where a wait stands.
enum DDS_WaitSetState : int {
    DDS_WAIT_SET_IDLE,     ///< Nobody waits.
    DDS_WAIT_SET_WAITING,  ///< A thread is in DDS_WaitSet_waitI.
    DDS_WAIT_SET_WOKEN     ///< The wait returned OK and has not been ended.
};

/// What an attachment means to a wait; see the table above.
enum class DDS_WaitSetMark { idle, fresh, due };

struct DDS_WaitSet {
    platform::Mutex _attachMutex;
    platform::Mutex _eventMutex ZYL_ACQUIRED_AFTER(_attachMutex);

    /// All attachments, linked through `_attachedNode`.
    VESKInlineList _attached ZYL_GUARDED_BY(_attachMutex) = {};
    /// The next one of the walk; null at its end.
    DDS_WaitSetAttachment *_cursor ZYL_GUARDED_BY(_attachMutex) = nullptr;
    /// Size of `_attached`, for waits.
    int _attachedCount ZYL_GUARDED_BY(_eventMutex) = 0;

    /// Handoff, a DDS_WaitSetState. Written by the thread that waits.
    int _waitState ZYL_SHARED = DDS_WAIT_SET_IDLE;

    DDS_WaitSetProperty_t _property ZYL_GUARDED_BY(_eventMutex) = {};
    std::int64_t _maxEventDelay_ns ZYL_GUARDED_BY(_eventMutex) = 0;  ///< The property's delay.

    /// The active attachments: first the due ones, then the fresh ones, oldest first.
    VESKInlineList _active ZYL_GUARDED_BY(_eventMutex) = {};
    /// In `_active`; null when none is fresh.
    DDS_WaitSetAttachment *_firstFresh ZYL_GUARDED_BY(_eventMutex) = nullptr;
    /// Sum over the fresh ones.
    std::int64_t _freshEvents ZYL_GUARDED_BY(_eventMutex) = 0;

    /// Who sleeps in a wait and has not been taken to be woken; or null.
    platform::Parker *_sleeper ZYL_GUARDED_BY(_eventMutex) = nullptr;
    /// Until when, while `_sleeper` is not null.
    std::int64_t _sleepDeadline_ns ZYL_GUARDED_BY(_eventMutex) = 0;
};

/// A condition's place in one wait set. Made by attach, freed by detach or with the wait set.
struct DDS_WaitSetAttachment {
    /// First, so that the node is also the record.
    VESKInlineListNode _activeNode ZYL_GUARDED_BY(_waitSet->_eventMutex) = {};
    VESKInlineListUserDataNode _attachedNode ZYL_GUARDED_BY(_waitSet->_attachMutex) = {};
    DDS_Condition *_condition = nullptr;  ///< Const after creation.
    DDS_WaitSet *_waitSet = nullptr;      ///< Const after creation.
    /// In the condition's list.
    DDS_WaitSetAttachment *_nextOfCondition ZYL_GUARDED_BY(_condition->_mutex) = nullptr;
    /// Left out of the waits.
    bool _isMasked ZYL_GUARDED_BY(_condition->_mutex) = false;
    DDS_WaitSetMark _mark ZYL_GUARDED_BY(_waitSet->_eventMutex) = DDS_WaitSetMark::idle;
    std::int64_t _events ZYL_GUARDED_BY(_waitSet->_eventMutex) = 0;             ///< While fresh; else 0.
    std::int64_t _firstEventTime_ns ZYL_GUARDED_BY(_waitSet->_eventMutex) = 0;  ///< While fresh.
};

/// Threads that an operation has to wake once it has released its locks: declared before the locks, so that it goes
/// last. A thread that finds no room is woken at once, which is right and only less quick.
class DDS_WaitSetWakeList {
public:
    DDS_WaitSetWakeList() = default;
    DDS_WaitSetWakeList(const DDS_WaitSetWakeList &) = delete;
    DDS_WaitSetWakeList &operator=(const DDS_WaitSetWakeList &) = delete;
    ~DDS_WaitSetWakeList()
    {
        for (int i = 0; i < _count; ++i) ZYLPlatform_unpark(_sleepers[i]);
    }
    /// Add a thread; null adds nothing.
    void add(platform::Parker *sleeper)
    {
        if (sleeper == nullptr) return;
        if (_count == capacity) return ZYLPlatform_unpark(sleeper);
        _sleepers[_count++] = sleeper;
    }

private:
    static constexpr int capacity = 4;
    platform::Parker *_sleepers[capacity];
    int _count = 0;
};

/// Tell the analysis that an attachment of a condition's list stands under that condition's mutex, which the caller
/// holds: it cannot know that the two pointers are equal.
inline void DDS_WaitSetAttachment_claimOfCondition(const DDS_WaitSetAttachment *self)
    ZYL_ASSERT_HELD(self->_condition->_mutex)
{
    static_cast<void>(self);
}

/// The same for an attachment of a wait set's active list and that wait set's event mutex.
inline void DDS_WaitSetAttachment_claimOfEvents(const DDS_WaitSetAttachment *self)
    ZYL_ASSERT_HELD(self->_waitSet->_eventMutex)
{
    static_cast<void>(self);
}

/// The same for an attachment of a wait set's `_attached` and that wait set's attach mutex.
inline void DDS_WaitSetAttachment_claimOfAttached(const DDS_WaitSetAttachment *self)
    ZYL_ASSERT_HELD(self->_waitSet->_attachMutex)
{
    static_cast<void>(self);
}

/// Give an unmasked attachment of a triggered condition one event: idle becomes fresh, fresh counts it, due stays.
/// Returns: the thread to wake, or null.
platform::Parker *DDS_WaitSetAttachment_addEvent(DDS_WaitSetAttachment *self) ZYL_REQUIRES(self->_condition->_mutex)
    ZYL_EXCLUDES(self->_waitSet->_eventMutex);

/// Make an idle attachment due.
/// Returns: the thread to wake, or null.
platform::Parker *DDS_WaitSetAttachment_makeDue(DDS_WaitSetAttachment *self) ZYL_REQUIRES(self->_condition->_mutex)
    ZYL_EXCLUDES(self->_waitSet->_eventMutex);

/// Make an attachment idle: its mark and its events go.
void DDS_WaitSetAttachment_withdraw(DDS_WaitSetAttachment *self) ZYL_REQUIRES(self->_condition->_mutex)
    ZYL_EXCLUDES(self->_waitSet->_eventMutex);

/// Take the thread that sleeps in the wait set if it has to look again: its wait ends now, or earlier than it sleeps.
/// Returns: the thread, to be woken when the mutex has been released; or null.
platform::Parker *DDS_WaitSet_takeSleeperI(DDS_WaitSet *self) ZYL_REQUIRES(self->_eventMutex);

/// Detach everything.
void DDS_WaitSet_detachAllI(DDS_WaitSet *self) ZYL_EXCLUDES(self->_attachMutex);

#endif
