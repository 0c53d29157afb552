/// @file
/// Intrusive doubly linked lists. The sentinel stands before the first node, so that linking and unlinking know no
/// special case at the head; the tail's `next` is null.
///
/// Protection: none of its own; the caller holds the area that protects the list.
#include "VESKInlineList.pkg.h"

namespace {

/// Link a node between two neighbours; `next` is null at the tail.
void link(VESKInlineList *self, VESKInlineListNode *prev, VESKInlineListNode *node, VESKInlineListNode *next)
{
    node->inlineList = self;
    node->prev = prev;
    node->next = next;
    prev->next = node;
    if (next != nullptr)
        next->prev = node;
    else
        self->_tail = node;
    ++self->_size;
}

}  // namespace

void VESKInlineList_init(struct VESKInlineList *self)
{
    *self = {};
}

void VESKInlineListNode_init(struct VESKInlineListNode *self)
{
    *self = {};
}

void VESKInlineList_addNodeToBackEA(struct VESKInlineList *self, struct VESKInlineListNode *node)
{
    link(self, self->_tail != nullptr ? self->_tail : &self->_dummyNode, node, nullptr);
}

void VESKInlineList_addNodeBeforeEA(struct VESKInlineList *self, struct VESKInlineListNode *existing,
                                    struct VESKInlineListNode *node)
{
    link(self, existing->prev, node, existing);
}

void VESKInlineList_removeNodeEA(struct VESKInlineList *self, struct VESKInlineListNode *node)
{
    node->prev->next = node->next;
    if (node->next != nullptr)
        node->next->prev = node->prev;
    else
        self->_tail = node->prev != &self->_dummyNode ? node->prev : nullptr;
    --self->_size;
    VESKInlineListNode_init(node);
}

struct VESKInlineListNode *VESKInlineList_getFirst(const struct VESKInlineList *self)
{
    return self->_dummyNode.next;
}

struct VESKInlineListNode *VESKInlineListNode_getNext(const struct VESKInlineListNode *self)
{
    return self->next;
}

int VESKInlineList_isNodeInList(const struct VESKInlineList *self, const struct VESKInlineListNode *node)
{
    return node->inlineList == self ? 1 : 0;
}
