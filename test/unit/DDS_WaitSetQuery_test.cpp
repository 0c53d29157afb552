// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
/// @file
/// The query of a plain wait set's conditions: the sequence grows, and says why it cannot, outside of the walk.
#include "LockWitness.hpp"
#include "WaitSetFixture.hpp"
#include "doubles/Doubles.hpp"

namespace {

using testing::IsEmpty;

constexpr const char *heap = "ZYLOsapiHeap_reallocateMemoryInternal";
constexpr const char *failure = "!ensure length of attached conditions sequence";

class WaitSetQuery : public testing::Test {
protected:
    WaitSetQuery()
    {
        for (Guard &guard : guards) waitSet.attach(guard);
    }
    ~WaitSetQuery() override { doubles.heal(); }
    WaitSetQuery(const WaitSetQuery &) = delete;
    WaitSetQuery &operator=(const WaitSetQuery &) = delete;

    DDS_ReturnCode_t query() { return DDS_WaitSet_get_conditions(waitSet, &attached); }

    Guard guards[2];
    Guard late;
    TestWaitSet waitSet;
    Conditions attached;
    Doubles doubles;
};

TEST_F(WaitSetQuery, no_message_of_a_query_is_printed_under_a_lock)
{
    LockWitness witness(doubles);
    doubles.on(heap).failFrom(1);
    EXPECT_EQ(query(), DDS_RETCODE_OUT_OF_RESOURCES);
    ASSERT_EQ(witness.messages.size(), 3U) << "of the sequence and of the query";
    EXPECT_EQ(witness.messages.back(), failure);
    EXPECT_EQ(witness.mostHeld, 0);

    DDS_Condition_ptr room[1] = {};
    ASSERT_TRUE(DDS_ConditionSeq_loan_contiguous(&attached, room, 0, 1));
    witness.messages.clear();
    EXPECT_EQ(query(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(witness.messages.size(), 2U);
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&attached));

    attached->_length = 7;  // without a buffer
    witness.messages.clear();
    EXPECT_EQ(query(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(witness.messages.back(), failure);
    attached->_length = 0;
    EXPECT_EQ(witness.mostHeld, 0);
    waitSet.detach(guards[0]);  // Would block for ever if a walk went on.
}

TEST_F(WaitSetQuery, conditions_that_come_and_go_while_the_sequence_grows_are_taken_into_account)
{
    LogCapture log;
    doubles.on(heap).with("T").before(1, [&] {
        waitSet.attach(late);
        waitSet.detach(guards[0]);
    });
    EXPECT_EQ(query(), DDS_RETCODE_OK);
    EXPECT_THAT(attached.list(), areConditions(guards[1], late));

    doubles.on(heap).with("T").before(1, [&] { waitSet.attach(guards[0]); });
    ASSERT_TRUE(DDS_ConditionSeq_set_maximum(&attached, 0));
    EXPECT_EQ(query(), DDS_RETCODE_OK);
    EXPECT_THAT(attached.list(), areConditions(guards[0], guards[1], late));

    doubles.clear();
    waitSet.detach(late);
    EXPECT_EQ(query(), DDS_RETCODE_OK);
    EXPECT_THAT(attached.list(), areConditions(guards[0], guards[1]));
    EXPECT_EQ(doubles.count(heap), 0) << "there was room";
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetQuery, the_query_of_an_empty_wait_set_empties_the_sequence)
{
    LogCapture log;
    EXPECT_EQ(query(), DDS_RETCODE_OK);
    for (Guard &guard : guards) waitSet.detach(guard);
    EXPECT_EQ(query(), DDS_RETCODE_OK);
    EXPECT_THAT(attached.list(), IsEmpty());
    EXPECT_NO_LOG(log);
}

}  // namespace
