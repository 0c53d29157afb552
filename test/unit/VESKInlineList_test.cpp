/// @file
/// Intrusive lists, checked against a plain list of the expected order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "halo_runtime/vesk/VESKInlineList.pkg.h"

namespace {

using Nodes = std::vector<VESKInlineListNode *>;

/// The list has exactly these nodes, seen from both ends.
void expectNodes(const VESKInlineList &list, const Nodes &expected)
{
    Nodes forward;
    for (VESKInlineListNode *node = VESKInlineList_getFirst(&list); node != nullptr;
         node = VESKInlineListNode_getNext(node))
        forward.push_back(node);
    EXPECT_EQ(expected, forward);
    Nodes backward;
    for (VESKInlineListNode *node = list._tail; node != nullptr && node != &list._dummyNode; node = node->prev)
        backward.push_back(node);
    std::reverse(backward.begin(), backward.end());
    EXPECT_EQ(expected, backward);
    EXPECT_EQ(static_cast<int>(expected.size()), list._size);
    for (const VESKInlineListNode *node : expected) EXPECT_NE(0, VESKInlineList_isNodeInList(&list, node));
}

void expectCleared(const VESKInlineListNode &node)
{
    EXPECT_EQ(nullptr, node.inlineList);
    EXPECT_EQ(nullptr, node.next);
    EXPECT_EQ(nullptr, node.prev);
}

}  // namespace

TEST(InlineList, init_makes_any_list_empty)
{
    VESKInlineList list;
    std::memset(static_cast<void *>(&list), 0x5A, sizeof list);
    VESKInlineList_init(&list);
    expectNodes(list, {});
    VESKInlineListNode node;
    std::memset(static_cast<void *>(&node), 0x5A, sizeof node);
    VESKInlineListNode_init(&node);
    expectCleared(node);
}

TEST(InlineList, an_all_zero_list_and_node_need_no_init)
{
    VESKInlineList list = {};
    VESKInlineListNode node = {};
    EXPECT_EQ(0, VESKInlineList_isNodeInList(&list, &node));
    VESKInlineList_addNodeToBackEA(&list, &node);
    expectNodes(list, {&node});
}

TEST(InlineList, a_node_added_to_the_back_is_the_tail)
{
    VESKInlineList list = {};
    VESKInlineListNode nodes[3] = {};
    for (VESKInlineListNode &node : nodes) VESKInlineList_addNodeToBackEA(&list, &node);
    expectNodes(list, {&nodes[0], &nodes[1], &nodes[2]});
    EXPECT_EQ(&nodes[2], list._tail);
}

TEST(InlineList, a_node_is_inserted_before_the_first_the_middle_and_the_last)
{
    VESKInlineList list = {};
    VESKInlineListNode nodes[5] = {};
    VESKInlineList_addNodeToBackEA(&list, &nodes[1]);
    VESKInlineList_addNodeBeforeEA(&list, &nodes[1], &nodes[0]);
    expectNodes(list, {&nodes[0], &nodes[1]});
    VESKInlineList_addNodeToBackEA(&list, &nodes[4]);
    VESKInlineList_addNodeBeforeEA(&list, &nodes[4], &nodes[3]);
    VESKInlineList_addNodeBeforeEA(&list, &nodes[3], &nodes[2]);
    expectNodes(list, {&nodes[0], &nodes[1], &nodes[2], &nodes[3], &nodes[4]});
}

TEST(InlineList, a_removed_node_is_cleared_and_can_be_added_again)
{
    VESKInlineList list = {};
    VESKInlineListNode nodes[3] = {};
    for (VESKInlineListNode &node : nodes) VESKInlineList_addNodeToBackEA(&list, &node);
    VESKInlineList_removeNodeEA(&list, &nodes[1]);
    expectCleared(nodes[1]);
    expectNodes(list, {&nodes[0], &nodes[2]});
    VESKInlineList_removeNodeEA(&list, &nodes[2]);
    expectNodes(list, {&nodes[0]});
    VESKInlineList_removeNodeEA(&list, &nodes[0]);
    expectNodes(list, {});
    VESKInlineList_addNodeToBackEA(&list, &nodes[1]);
    expectNodes(list, {&nodes[1]});
}

TEST(InlineList, a_node_is_in_its_own_list_only)
{
    VESKInlineList list = {};
    VESKInlineList other = {};
    VESKInlineListNode node = {};
    VESKInlineList_addNodeToBackEA(&list, &node);
    EXPECT_NE(0, VESKInlineList_isNodeInList(&list, &node));
    EXPECT_EQ(0, VESKInlineList_isNodeInList(&other, &node));
}

TEST(InlineList, a_record_is_in_several_lists_through_user_data_nodes)
{
    VESKInlineList lists[2] = {};
    int record = 0;
    VESKInlineListUserDataNode nodes[2] = {};
    for (int i = 0; i < 2; ++i) {
        nodes[i].userData = &record;
        VESKInlineList_addNodeToBackEA(&lists[i], &nodes[i].node);
    }
    VESKInlineList_removeNodeEA(&lists[0], &nodes[0].node);
    expectNodes(lists[0], {});
    expectNodes(lists[1], {&nodes[1].node});
    EXPECT_EQ(&record, nodes[0].userData);
}

TEST(InlineList, any_sequence_of_operations_gives_the_expected_order)
{
    std::mt19937 random(4711);
    VESKInlineList list = {};
    std::vector<VESKInlineListNode> nodes(12, VESKInlineListNode{});
    Nodes expected;
    for (int step = 0; step < 3000; ++step) {
        VESKInlineListNode *node = &nodes[random() % nodes.size()];
        const auto place = std::find(expected.begin(), expected.end(), node);
        if (place != expected.end()) {
            VESKInlineList_removeNodeEA(&list, node);
            expected.erase(place);
        } else if (expected.empty() || random() % 2 == 0) {
            VESKInlineList_addNodeToBackEA(&list, node);
            expected.push_back(node);
        } else {
            const std::size_t index = random() % expected.size();
            VESKInlineList_addNodeBeforeEA(&list, expected[index], node);
            expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(index), node);
        }
        expectNodes(list, expected);
    }
}
