/// @file
/// Which conditions take part: attaching, detaching, masking, and the walk over the attached conditions.
///
/// Protection: see DDS_WaitSet.hpp. The attachments of one condition to one wait set are made and freed only under that
/// wait set's attach mutex.
#include <new>

#include "../vesk/VESKInlineListView.pkg.hpp"
#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "DDS_Log.hpp"
#include "DDS_WaitSet.hpp"
#include "DDS_WaitSet.pkg.h"

namespace {

/// The condition's attachment to the wait set, or null. A condition is attached to few wait sets.
DDS_WaitSetAttachment *attachmentTo(DDS_Condition *condition, const DDS_WaitSet *waitSet)
    ZYL_REQUIRES(condition->_mutex)
{
    DDS_WaitSetAttachment *attachment = condition->_attachments;
    while (attachment != nullptr && attachment->_waitSet != waitSet) {
        DDS_WaitSetAttachment_claimOfCondition(attachment);
        attachment = attachment->_nextOfCondition;
    }
    return attachment;
}

/// Put a new attachment into both lists. If the condition is triggered this is an event.
void link(DDS_WaitSetAttachment *attachment, DDS_WaitSetWakeList *wakes)
    ZYL_REQUIRES(attachment->_waitSet->_attachMutex) ZYL_EXCLUDES(attachment->_condition->_mutex)
{
    VESKInlineList_addNodeToBackEA(&attachment->_waitSet->_attached, &attachment->_attachedNode.node);
    const platform::Lock lock(attachment->_condition->_mutex);
    attachment->_nextOfCondition = attachment->_condition->_attachments;
    attachment->_condition->_attachments = attachment;
    {
        const platform::Lock eventLock(attachment->_waitSet->_eventMutex);
        attachment->_waitSet->_attachedCount += 1;
    }
    if (sharedRead(attachment->_condition->_triggerValue) != 0) wakes->add(DDS_WaitSetAttachment_addEvent(attachment));
}

/// Take an attachment out of both lists and free it.
void unlink(DDS_WaitSetAttachment *attachment) ZYL_REQUIRES(attachment->_waitSet->_attachMutex)
    ZYL_EXCLUDES(attachment->_condition->_mutex)
{
    {
        const platform::Lock lock(attachment->_condition->_mutex);
        DDS_WaitSetAttachment **place = &attachment->_condition->_attachments;
        while (*place != attachment) place = &(*place)->_nextOfCondition;
        *place = attachment->_nextOfCondition;
        DDS_WaitSetAttachment_withdraw(attachment);
    }
    {
        const platform::Lock eventLock(attachment->_waitSet->_eventMutex);
        attachment->_waitSet->_attachedCount -= 1;
    }
    VESKInlineList_removeNodeEA(&attachment->_waitSet->_attached, &attachment->_attachedNode.node);
    ZYLOsapiHeap_freeStructure(attachment);
}

/// The attachments of a wait set.
using Attached = VESKUserDataListView<DDS_WaitSetAttachment>;

/// A walk is in progress, so its thread has held the attach mutex since the beginning of the walk.
void claimWalk(const DDS_WaitSet *self) ZYL_ASSERT_HELD(self->_attachMutex)
{
    static_cast<void>(self);
}

/// The condition's attachment to the wait set, which can change only under that wait set's attach mutex; or null.
DDS_WaitSetAttachment *find(const DDS_WaitSet *self, DDS_Condition *condition) ZYL_EXCLUDES(condition->_mutex)
{
    const platform::Lock lock(condition->_mutex);
    return attachmentTo(condition, self);
}

}  // namespace

DDS_ReturnCode_t DDS_WaitSet_attach_condition(DDS_WaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    bool isMade = true;
    {
        DDS_WaitSetWakeList wakes;
        const platform::Lock lock(self->_attachMutex);
        if (find(self, condition) != nullptr) return DDS_RETCODE_OK;
        void *const block = ZYLOsapiHeap_allocateStructure<DDS_WaitSetAttachment>("DDS_WaitSetAttachment");
        isMade = block != nullptr;
        if (isMade) {
            auto *const attachment = new (block) DDS_WaitSetAttachment{};
            attachment->_condition = condition;
            attachment->_waitSet = self;
            DDS_WaitSetAttachment_claimOfAttached(attachment);
            attachment->_attachedNode.userData = attachment;
            link(attachment, &wakes);
        }
    }
    if (!isMade) return DDS_CREATE_FAILED(DDS_RETCODE_OUT_OF_RESOURCES, "attachment of condition");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_detach_condition(DDS_WaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    bool isAttached = false;
    {
        const platform::Lock lock(self->_attachMutex);
        DDS_WaitSetAttachment *const attachment = find(self, condition);
        isAttached = attachment != nullptr;
        if (isAttached) {
            DDS_WaitSetAttachment_claimOfAttached(attachment);
            unlink(attachment);
        }
    }
    if (!isAttached)
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "the condition is not attached to this wait set");
    return DDS_RETCODE_OK;
}

void DDS_WaitSet_detachAllI(DDS_WaitSet *self)
{
    const platform::Lock lock(self->_attachMutex);
    while (DDS_WaitSetAttachment *const attachment = Attached{self->_attached}.first()) {
        DDS_WaitSetAttachment_claimOfAttached(attachment);
        unlink(attachment);
    }
}

DDS_ReturnCode_t DDS_WaitSet_mask_condition(DDS_WaitSet *self, DDS_Condition *condition, DDS_Boolean takesPart)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    const bool isMasked = takesPart == DDS_BOOLEAN_FALSE;
    bool isAttached = false;
    {
        DDS_WaitSetWakeList wakes;
        const platform::Lock lock(condition->_mutex);
        DDS_WaitSetAttachment *const attachment = attachmentTo(condition, self);
        isAttached = attachment != nullptr;
        if (isAttached) {
            DDS_WaitSetAttachment_claimOfCondition(attachment);
            if (attachment->_isMasked == isMasked) return DDS_RETCODE_OK;
            attachment->_isMasked = isMasked;
            // An untriggered condition is not active, so that there is nothing to withdraw or to mark.
            if (sharedRead(condition->_triggerValue) == 0) return DDS_RETCODE_OK;
            if (isMasked)
                DDS_WaitSetAttachment_withdraw(attachment);
            else
                wakes.add(DDS_WaitSetAttachment_makeDue(attachment));
        }
    }
    if (!isAttached)
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "the condition is not attached to this wait set");
    return DDS_RETCODE_OK;
}

/// Not analyzed: the walk keeps the attach mutex when this returns.
int DDS_WaitSet_start_conditions_iteratorI(DDS_WaitSet *self, int /*reserved*/) ZYL_NOT_ANALYZED
{
    if (self == nullptr) return DDS_BAD_PARAMETER(0, self);
    ZYLPlatform_lock(self->_attachMutex);
    self->_cursor = Attached{self->_attached}.first();
    return self->_attached._size;
}

DDS_Condition *DDS_WaitSet_get_next_conditionI(DDS_WaitSet *self, int /*reserved*/)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(nullptr, self);
    claimWalk(self);
    const DDS_WaitSetAttachment *const attachment = self->_cursor;
    if (attachment == nullptr) return nullptr;
    self->_cursor = Attached::recordOf(VESKInlineListNode_getNext(&attachment->_attachedNode.node));
    return attachment->_condition;
}

void DDS_WaitSet_end_conditions_iteratorI(DDS_WaitSet *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(static_cast<void>(0), self);
    claimWalk(self);
    ZYLPlatform_unlock(self->_attachMutex);
}
