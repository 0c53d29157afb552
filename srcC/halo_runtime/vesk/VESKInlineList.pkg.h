/// @file
/// Intrusive doubly linked lists. No operation allocates.
///
/// Protection: none of its own; `EA` in a name means that the caller holds the area that protects the list. An all-zero
/// list is a valid empty list, and so is an all-zero node that is in no list.
#ifndef VESK_INLINE_LIST_PKG_H
#define VESK_INLINE_LIST_PKG_H

#ifdef __cplusplus
extern "C" {
#endif

struct VESKInlineList;

/// The link embedded in every listed record.
typedef struct VESKInlineListNode {
    struct VESKInlineList *inlineList;  ///< The list that the node is in, or null.
    struct VESKInlineListNode *next;    ///< Null at the tail.
    struct VESKInlineListNode *prev;    ///< Null, or the sentinel, at the head.
} VESKInlineListNode;

typedef struct VESKInlineList {
    struct VESKInlineListNode _dummyNode;  ///< Head sentinel: its `next` is the first node.
    struct VESKInlineListNode *_tail;      ///< Last node, null when empty.
    int _size;                             ///< Number of nodes.
    void *_userData;                       ///< Not used here.
} VESKInlineList;

/// A node that puts one record into several lists.
typedef struct VESKInlineListUserDataNode {
    struct VESKInlineListNode node;
    void *userData;
} VESKInlineListUserDataNode;

/// Make the list empty, whatever it held.
void VESKInlineList_init(struct VESKInlineList *self);
/// Clear the links.
void VESKInlineListNode_init(struct VESKInlineListNode *self);
/// Append a node that is in no list.
void VESKInlineList_addNodeToBackEA(struct VESKInlineList *self, struct VESKInlineListNode *node);
/// Insert a node that is in no list before one that is in this list.
void VESKInlineList_addNodeBeforeEA(struct VESKInlineList *self, struct VESKInlineListNode *existing,
                                    struct VESKInlineListNode *node);
/// Unlink a node of this list and clear its links.
void VESKInlineList_removeNodeEA(struct VESKInlineList *self, struct VESKInlineListNode *node);
/// First node, null when empty.
struct VESKInlineListNode *VESKInlineList_getFirst(const struct VESKInlineList *self);
/// Next node, null at the tail.
struct VESKInlineListNode *VESKInlineListNode_getNext(const struct VESKInlineListNode *self);
/// Not 0 exactly when the node is in this list.
int VESKInlineList_isNodeInList(const struct VESKInlineList *self, const struct VESKInlineListNode *node);

#ifdef __cplusplus
}
#endif

#endif
