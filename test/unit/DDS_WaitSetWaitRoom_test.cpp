// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLPlatform_park
/// @file
/// The room that a wait finds, or makes, in the sequence for what is active: bounded and lent sequences, memory that
/// ends, changes while the sequence grows, and that nothing is printed under a lock.
#include <cstring>
#include <string>

#include "LockWitness.hpp"
#include "WaitSetFixture.hpp"
#include "doubles/Doubles.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *heap = "ZYLOsapiHeap_reallocateMemoryInternal";
constexpr const char *noRoom = "ensure length of active conditions sequence";

/// A wait set with five conditions, of which the first ones are triggered.
class WaitSetRoom : public testing::Test {
protected:
    WaitSetRoom()
    {
        for (Guard &guard : guards) waitSet.attach(guard);
        doubles.clear();
        for (const char *service : {"ZYLPlatform_lock", "ZYLPlatform_unlock"}) doubles.on(service).unnoted();
    }
    ~WaitSetRoom() override { doubles.heal(); }
    WaitSetRoom(const WaitSetRoom &) = delete;
    WaitSetRoom &operator=(const WaitSetRoom &) = delete;

    void trigger(int count)
    {
        for (int i = 0; i < count; ++i) guards[i].set(true);
    }
    DDS_ReturnCode_t wait(const DDS_Duration_t &timeout = noTime)
    {
        return DDS_WaitSet_wait(waitSet, &active, &timeout);
    }
    /// The wait failed for want of room, and that was its last message.
    void expectNoRoom(DDS_ReturnCode_t retCode)
    {
        EXPECT_EQ(retCode, DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, noRoom);
        ASSERT_FALSE(log.entries().empty());
        EXPECT_EQ(log.entries().back().function, "DDS_WaitSet_waitI");
    }

    Guard guards[5];
    TestWaitSet waitSet;
    Conditions active;
    LogCapture log;
    Doubles doubles;
};

// ---------------------------------------------------------------- bounded and lent sequences

TEST_F(WaitSetRoom, a_bounded_sequence_takes_as_much_as_it_may_hold)
{
    ASSERT_TRUE(DDS_ConditionSeq_set_absolute_maximum(&active, 2));
    trigger(1);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0]));
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&active), 2);
    trigger(2);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0], guards[1]));
    EXPECT_EQ(doubles.count(heap), 1) << "it grew once, to all that it may hold";
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetRoom, a_bounded_sequence_without_room_for_what_is_active_fails_the_wait_and_changes_nothing)
{
    ASSERT_TRUE(DDS_ConditionSeq_set_absolute_maximum(&active, 2));
    trigger(3);
    expectNoRoom(wait());
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ASSERT_FAILURE_s, "new max cannot be larger than absolute maximum");
    EXPECT_LOG_COUNT(log, 3U);
    EXPECT_EQ(waitSet.freshEvents(), 3) << "nothing became due";
    guards[0].set(false);
    EXPECT_EQ(wait(), DDS_RETCODE_OK) << "the failed wait was closed";
    EXPECT_THAT(active.list(), areConditions(guards[1], guards[2]));
}

TEST_F(WaitSetRoom, a_bound_above_every_number_limits_nothing)
{
    ASSERT_TRUE(DDS_ConditionSeq_set_absolute_maximum(&active, -1));
    trigger(2);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&active), 5);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetRoom, a_record_that_was_never_initialized_is_filled)
{
    std::memset(&active, 0x5a, sizeof(DDS_ConditionSeq));
    trigger(2);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0], guards[1]));
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetRoom, a_lent_sequence_with_room_for_what_is_active_is_filled)
{
    DDS_Condition_ptr room[2] = {};
    ASSERT_TRUE(DDS_ConditionSeq_loan_contiguous(&active, room, 0, 2));
    trigger(2);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(room, ElementsAre(static_cast<DDS_Condition *>(guards[0]), static_cast<DDS_Condition *>(guards[1])));
    EXPECT_EQ(DDS_ConditionSeq_get_length(&active), 2);
    EXPECT_EQ(doubles.count(heap), 0);
    EXPECT_NO_LOG(log);
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&active));
}

TEST_F(WaitSetRoom, a_lent_sequence_without_room_fails_the_wait_and_says_so_once)
{
    DDS_Condition_ptr room[1] = {};
    ASSERT_TRUE(DDS_ConditionSeq_loan_contiguous(&active, room, 0, 1));
    trigger(2);
    expectNoRoom(wait());
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_SEQUENCE_NOT_OWNER);
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(doubles.count(heap), 0);
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&active));
}

TEST_F(WaitSetRoom, a_lent_place_that_is_missing_fails_the_wait)
{
    DDS_Condition_ptr *places[1] = {nullptr};
    ASSERT_TRUE(DDS_ConditionSeq_loan_discontiguous(&active, places, 0, 1));
    trigger(1);
    expectNoRoom(wait());
    EXPECT_EQ(waitSet.freshEvents(), 1) << "nothing became due";
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&active));
}

TEST_F(WaitSetRoom, a_sequence_that_must_not_allocate_fails_the_wait_and_says_so_once)
{
    const DDS_TypeAllocationParams_t params = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_FALSE};
    ASSERT_TRUE(DDS_ConditionSeq_set_element_allocation_params(&active, &params));
    trigger(1);
    expectNoRoom(wait());
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ASSERT_FAILURE_s, "allocate_memory must be true");
    EXPECT_LOG_COUNT(log, 3U);
    ASSERT_TRUE(DDS_ConditionSeq_initialize(&active));
}

// ---------------------------------------------------------------- memory that ends

TEST_F(WaitSetRoom, a_wait_that_is_short_of_memory_asks_for_exactly_what_is_active)
{
    doubles.on(heap).fail(1);
    trigger(2);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0], guards[1]));
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&active), 2);
    EXPECT_EQ(doubles.count(heap), 2);
    EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s), 0) << log.print();
}

TEST_F(WaitSetRoom, a_wait_fails_when_there_is_no_memory_even_for_what_is_active)
{
    doubles.on(heap).failFrom(1);
    trigger(2);
    expectNoRoom(wait());
    EXPECT_EQ(doubles.count(heap), 2);
    EXPECT_EQ(waitSet.freshEvents(), 2) << "nothing became due";
    doubles.heal();
    EXPECT_EQ(wait(), DDS_RETCODE_OK) << "the failed wait was closed";
    EXPECT_THAT(active.list(), areConditions(guards[0], guards[1]));
}

TEST_F(WaitSetRoom, nothing_is_asked_for_twice_when_everything_is_active)
{
    doubles.on(heap).failFrom(1);
    trigger(5);
    expectNoRoom(wait());
    EXPECT_EQ(doubles.count(heap), 1);
}

TEST_F(WaitSetRoom, a_wait_that_reports_nothing_asks_for_no_memory)
{
    doubles.on(heap).failFrom(1);
    EXPECT_EQ(wait(), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(doubles.count(heap), 0);
    EXPECT_NO_LOG(log);
}

// ---------------------------------------------------------------- what happens while the sequence grows

TEST_F(WaitSetRoom, a_condition_that_falls_while_the_sequence_grows_is_not_reported)
{
    doubles.on(heap).before(1, [&] { guards[0].set(false); });
    trigger(1);
    EXPECT_EQ(wait(), DDS_RETCODE_TIMEOUT);
    EXPECT_THAT(active.list(), IsEmpty());
    EXPECT_EQ(waitSet.activeCount(), 0);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetRoom, conditions_that_rise_while_the_sequence_grows_are_reported)
{
    ASSERT_TRUE(DDS_ConditionSeq_set_absolute_maximum(&active, 4));
    Guard late[2];
    doubles.on(heap).before(1, [&] {
        for (Guard &guard : late) waitSet.attach(guard);
        trigger(3);
        late[0].set(true);
    });
    trigger(1);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0], guards[1], guards[2], late[0]));
    for (Guard &guard : late) waitSet.detach(guard);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetRoom, a_sequence_grows_again_when_what_is_active_has_outgrown_it_meanwhile)
{
    doubles.on(heap).fail(1);
    doubles.on(heap).before(2, [&] { trigger(4); });
    trigger(1);
    EXPECT_EQ(wait(), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0], guards[1], guards[2], guards[3]));
    EXPECT_EQ(doubles.count(heap), 3) << "all, one, and all again";
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&active), 5);
}

TEST_F(WaitSetRoom, growing_does_not_prolong_the_wait)
{
    std::vector<std::int64_t> deadlines;
    doubles.on("ZYLPlatform_park").instead([&](std::int64_t deadline_ns, const char *) {
        deadlines.push_back(deadline_ns);
        guards[0].set(true);
    });
    doubles.on(heap).before(1, [&] { guards[0].set(false); });
    EXPECT_EQ(wait(oneHour), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(guards[0]));
    ASSERT_EQ(deadlines.size(), 2U);
    EXPECT_EQ(deadlines[0], deadlines[1]);
}

// ---------------------------------------------------------------- messages

TEST_F(WaitSetRoom, no_message_of_a_wait_is_printed_under_a_lock)
{
    LockWitness witness(doubles);
    trigger(2);
    doubles.on(heap).failFrom(1);
    EXPECT_EQ(wait(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_GE(witness.messages.size(), 3U) << "of the sequence and of the wait";

    DDS_Condition_ptr room[1] = {};
    ASSERT_TRUE(DDS_ConditionSeq_loan_contiguous(&active, room, 0, 1));
    witness.messages.clear();
    EXPECT_EQ(wait(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(witness.messages.size(), 2U);
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&active));

    active->_length = 7;  // without a buffer
    witness.messages.clear();
    EXPECT_EQ(wait(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_THAT(witness.messages, testing::Contains("!assert: invariant: length > maximum"));
    active->_length = 0;
    EXPECT_EQ(witness.mostHeld, 0);
}

TEST_F(WaitSetRoom, a_record_that_is_not_consistent_fails_the_wait_and_is_not_written_to)
{
    DDS_Condition_ptr room[3] = {};
    DDS_Condition_ptr *places[3] = {&room[0], &room[1], &room[2]};
    struct Broken {
        const char *text;
        void (*breakIt)(DDS_ConditionSeq &, DDS_Condition_ptr *, DDS_Condition_ptr **);
    };
    const Broken records[] = {
        {"invariant: both buffers are non-NULL",
         [](DDS_ConditionSeq &seq, DDS_Condition_ptr *, DDS_Condition_ptr **p) { seq._discontiguous_buffer = p; }},
        {"invariant: length > maximum",
         [](DDS_ConditionSeq &seq, DDS_Condition_ptr *, DDS_Condition_ptr **) { seq._length = 4; }},
        {"invariant: sequence owns memory but has discontiguous buffer",
         [](DDS_ConditionSeq &seq, DDS_Condition_ptr *, DDS_Condition_ptr **p) {
             seq._contiguous_buffer = nullptr;
             seq._discontiguous_buffer = p;
             seq._owned = DDS_BOOLEAN_TRUE;
         }},
        {"invariant: maximum > 0 but buffer is NULL",
         [](DDS_ConditionSeq &seq, DDS_Condition_ptr *, DDS_Condition_ptr **) { seq._contiguous_buffer = nullptr; }},
        {"invariant: maximum > absolute_maximum",
         [](DDS_ConditionSeq &seq, DDS_Condition_ptr *, DDS_Condition_ptr **) { seq._absolute_maximum = 2; }},
    };
    trigger(1);
    LockWitness witness(doubles);
    for (const Broken &broken : records) {
        SCOPED_TRACE(broken.text);
        witness.messages.clear();
        DDS_ConditionSeq sequence = DDS_SEQUENCE_INITIALIZER;
        ASSERT_TRUE(DDS_ConditionSeq_loan_contiguous(&sequence, room, 0, 3));
        broken.breakIt(sequence, room, places);
        EXPECT_EQ(DDS_WaitSet_wait(waitSet, &sequence, &noTime), DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_THAT(witness.messages, testing::Contains(std::string("!assert: ") + broken.text));
        EXPECT_EQ(witness.mostHeld, 0);
        EXPECT_EQ(room[0], nullptr);
        EXPECT_EQ(waitSet.freshEvents(), 1) << "nothing became due";
    }
}

}  // namespace
