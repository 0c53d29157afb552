/// @file
/// Intrusive lists as lists of their records. A list knows only nodes; a view knows which record a node is embedded in,
/// so that nobody else has to.
///
/// Protection: that of the list. A record may be unlinked while it is first, not in the middle of a walk.
#ifndef VESK_INLINE_LIST_VIEW_PKG_HPP
#define VESK_INLINE_LIST_VIEW_PKG_HPP

#include <cstddef>

#include "VESKInlineList.pkg.h"

/// A list whose records have their node `nodeOffset` bytes from their beginning: in front, unless said otherwise.
template <class Record, std::size_t nodeOffset = 0>
struct VESKInlineListView {
    const VESKInlineList &list;

    /// The record around a node; null for null.
    static Record *recordOf(VESKInlineListNode *node)
    {
        if (node == nullptr) return nullptr;
        return reinterpret_cast<Record *>(reinterpret_cast<unsigned char *>(node) - nodeOffset);
    }
    static const VESKInlineListNode *nodeOf(const Record *record)
    {
        return reinterpret_cast<const VESKInlineListNode *>(reinterpret_cast<const unsigned char *>(record) +
                                                            nodeOffset);
    }
    /// The record behind this one, null at the tail.
    static Record *next(const Record *record) { return recordOf(VESKInlineListNode_getNext(nodeOf(record))); }

    /// Null when the list is empty.
    Record *first() const { return recordOf(VESKInlineList_getFirst(&list)); }
    Record *last() const { return recordOf(list._tail); }

    struct Iterator {
        Record *record;
        Record *operator*() const { return record; }
        Iterator &operator++()
        {
            record = next(record);
            return *this;
        }
        bool operator!=(const Iterator &other) const { return record != other.record; }
    };
    Iterator begin() const { return {first()}; }
    Iterator end() const { return {nullptr}; }
};

/// A list whose nodes point to their records.
template <class Record>
struct VESKUserDataListView {
    const VESKInlineList &list;

    /// The record that a node points to; null for null.
    static Record *recordOf(VESKInlineListNode *node)
    {
        const VESKInlineListUserDataNode *const link = VESKInlineListView<VESKInlineListUserDataNode>::recordOf(node);
        return link != nullptr ? static_cast<Record *>(link->userData) : nullptr;
    }
    /// Null when the list is empty.
    Record *first() const { return recordOf(VESKInlineList_getFirst(&list)); }
};

#endif
