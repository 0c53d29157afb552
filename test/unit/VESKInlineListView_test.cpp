/// @file
/// Views of lists: the records around the nodes, in order, while the first of them may go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "halo_runtime/vesk/VESKInlineListView.pkg.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A record that is in one list by the node in front and in another one by a node elsewhere.
struct Record {
    VESKInlineListNode node;
    int number;
    VESKInlineListNode otherNode;
};
using View = VESKInlineListView<Record>;
using OtherView = VESKInlineListView<Record, offsetof(Record, otherNode)>;

/// Records 0 to 2: in this order in one list, backwards in the other one.
class InlineListView : public testing::Test {
protected:
    InlineListView()
    {
        for (Record &record : records) VESKInlineList_addNodeToBackEA(&list, &record.node);
        for (const int index : {2, 1, 0}) VESKInlineList_addNodeToBackEA(&otherList, &records[index].otherNode);
    }

    template <class AnyView>
    static std::vector<int> numbersOf(const AnyView &view)
    {
        std::vector<int> numbers;
        for (const Record *record : view) numbers.push_back(record->number);
        return numbers;
    }

    VESKInlineList list = {};
    VESKInlineList otherList = {};
    Record records[3] = {{{}, 0, {}}, {{}, 1, {}}, {{}, 2, {}}};
    const View view{list};
    const OtherView otherView{otherList};
};

TEST_F(InlineListView, walks_records_with_the_node_in_front_and_elsewhere)
{
    EXPECT_THAT(numbersOf(view), ElementsAre(0, 1, 2));
    EXPECT_THAT(numbersOf(otherView), ElementsAre(2, 1, 0));
}

TEST_F(InlineListView, knows_the_first_the_last_and_the_next_record)
{
    EXPECT_EQ(view.first(), &records[0]);
    EXPECT_EQ(view.last(), &records[2]);
    EXPECT_EQ(View::next(&records[0]), &records[1]);
    EXPECT_EQ(View::next(&records[2]), nullptr);
    EXPECT_EQ(otherView.first(), &records[2]);
    EXPECT_EQ(otherView.last(), &records[0]);
    EXPECT_EQ(OtherView::next(&records[2]), &records[1]);
    EXPECT_EQ(OtherView::next(&records[0]), nullptr);
}

TEST_F(InlineListView, finds_the_record_of_a_node_and_the_node_of_a_record)
{
    EXPECT_EQ(View::recordOf(&records[1].node), &records[1]);
    EXPECT_EQ(OtherView::recordOf(&records[1].otherNode), &records[1]);
    EXPECT_EQ(View::nodeOf(&records[1]), &records[1].node);
    EXPECT_EQ(OtherView::nodeOf(&records[1]), &records[1].otherNode);
    EXPECT_EQ(View::recordOf(nullptr), nullptr);
    EXPECT_EQ(OtherView::recordOf(nullptr), nullptr);
}

TEST_F(InlineListView, of_an_empty_list_has_no_records)
{
    const VESKInlineList empty = {};
    const View emptyView{empty};
    const OtherView otherEmptyView{empty};
    EXPECT_EQ(emptyView.first(), nullptr);
    EXPECT_EQ(emptyView.last(), nullptr);
    EXPECT_THAT(numbersOf(emptyView), IsEmpty());
    EXPECT_EQ(otherEmptyView.first(), nullptr);
    EXPECT_EQ(otherEmptyView.last(), nullptr);
    EXPECT_THAT(numbersOf(otherEmptyView), IsEmpty());
}

TEST_F(InlineListView, sees_what_becomes_of_the_list)
{
    VESKInlineList_removeNodeEA(&list, &records[1].node);
    EXPECT_THAT(numbersOf(view), ElementsAre(0, 2));
    EXPECT_THAT(numbersOf(otherView), ElementsAre(2, 1, 0)) << "a list of its own";
    VESKInlineList_addNodeBeforeEA(&list, &records[0].node, &records[1].node);
    EXPECT_THAT(numbersOf(view), ElementsAre(1, 0, 2));
}

TEST_F(InlineListView, its_first_record_can_be_taken_out_until_none_is_left)
{
    std::vector<int> taken;
    while (Record *const first = otherView.first()) {
        VESKInlineList_removeNodeEA(&otherList, &first->otherNode);
        taken.push_back(first->number);
    }
    EXPECT_THAT(taken, ElementsAre(2, 1, 0));
    EXPECT_EQ(otherView.last(), nullptr);
    EXPECT_THAT(numbersOf(view), ElementsAre(0, 1, 2));
}

TEST(UserDataListView, finds_the_record_that_its_first_node_points_to)
{
    int records[2] = {};
    VESKInlineListUserDataNode nodes[3] = {{{}, &records[1]}, {{}, &records[0]}, {{}, nullptr}};
    VESKInlineList list = {};
    const VESKUserDataListView<int> view{list};
    EXPECT_EQ(view.first(), nullptr);
    for (VESKInlineListUserDataNode &node : nodes) VESKInlineList_addNodeToBackEA(&list, &node.node);
    EXPECT_EQ(view.first(), &records[1]);
    VESKInlineList_removeNodeEA(&list, &nodes[0].node);
    EXPECT_EQ(view.first(), &records[0]);
    VESKInlineList_removeNodeEA(&list, &nodes[1].node);
    EXPECT_EQ(view.first(), nullptr) << "a node that points to nothing";
    EXPECT_EQ(VESKUserDataListView<int>::recordOf(&nodes[1].node), &records[0]);
    EXPECT_EQ(VESKUserDataListView<int>::recordOf(nullptr), nullptr);
}

}  // namespace
