/// @file
/// Questions about a sequence of conditions that its own operations do not answer under a lock: those report a record
/// that is not consistent, and the log's sink is not called while a mutex of the runtime is held.
///
/// Protection: none. A sequence belongs to one thread at a time.
#ifndef DDS_CONDITION_SEQ_HPP
#define DDS_CONDITION_SEQ_HPP

#include <algorithm>

#include "dds_c/dds_c_condition.h"

/// Whether the record is initialized and consistent. Then no operation that it has the room for has anything to say.
inline bool DDS_ConditionSeq_isConsistentI(const DDS_ConditionSeq *self)
{
    if (self->_sequence_init != DDS_SEQUENCE_MAGIC_NUMBER) return false;
    const bool hasContiguous = self->_contiguous_buffer != nullptr;
    const bool hasDiscontiguous = self->_discontiguous_buffer != nullptr;
    if (hasContiguous ? hasDiscontiguous : self->_maximum > 0 && !hasDiscontiguous) return false;
    if (hasDiscontiguous && self->_owned != DDS_BOOLEAN_FALSE) return false;
    return self->_length <= self->_maximum && self->_maximum <= self->_absolute_maximum;
}

/// Whether `length` elements can be set without growing, and without a word.
inline bool DDS_ConditionSeq_hasRoomI(const DDS_ConditionSeq *self, DDS_Long length)
{
    return DDS_ConditionSeq_isConsistentI(self) && static_cast<DDS_UnsignedLong>(length) <= self->_maximum;
}

/// Whether a larger capacity that it may have can fail for want of memory only.
inline bool DDS_ConditionSeq_canGrowI(const DDS_ConditionSeq *self)
{
    return DDS_ConditionSeq_isConsistentI(self) && self->_owned != DDS_BOOLEAN_FALSE &&
           self->_elementAllocParams.allocate_memory != DDS_BOOLEAN_FALSE;
}

/// The smaller of `length` and what the sequence may ever hold.
inline DDS_Long DDS_ConditionSeq_boundI(const DDS_ConditionSeq *self, DDS_Long length)
{
    if (self->_sequence_init != DDS_SEQUENCE_MAGIC_NUMBER) return length;
    return static_cast<DDS_Long>(std::min(static_cast<DDS_UnsignedLong>(length), self->_absolute_maximum));
}

#endif
