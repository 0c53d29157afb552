/// @file
/// The sequence's capacity and length: set_maximum, finalize, set_length, ensure_length.
#include <cstdint>

#include "SequenceFixture.hpp"

template <class Api>
class SequenceCapacity : public SequenceFixture<Api> {
};
TYPED_TEST_SUITE(SequenceCapacity, SequenceApis);

// -- set_maximum. -----------------------------------------------------------------------------------------------------

TYPED_TEST(SequenceCapacity, growing_keeps_all_elements)
{
    this->fill(this->seq, 3, 3);
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 7));
    EXPECT_TRUE(this->holds(this->seq, 3, 7));
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 8));  // room behind the elements is not taken for elements
    EXPECT_TRUE(this->holds(this->seq, 3, 8));
    EXPECT_TRUE(this->printedNothing());
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), this->blocksBefore + 1);
}

TYPED_TEST(SequenceCapacity, shrinking_below_the_length_truncates_it)
{
    this->fill(this->seq, 5, 6);
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 5));
    EXPECT_TRUE(this->holds(this->seq, 5, 5));
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 3));
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 4));
    EXPECT_TRUE(this->holds(this->seq, 3, 4));
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 2));
    EXPECT_TRUE(this->holds(this->seq, 2, 2));
    EXPECT_TRUE(this->printedNothing());
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), this->blocksBefore + 1);
}

TYPED_TEST(SequenceCapacity, the_same_maximum_changes_nothing)
{
    this->fill(this->seq, 2, 4);
    const auto before = this->seq;
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 4));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
    EXPECT_TRUE(this->holds(this->seq, 2, 4));
    EXPECT_TRUE(TypeParam::set_maximum(&this->other, 0));
    EXPECT_TRUE(this->isUnchanged(this->other, this->initialState()));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCapacity, maximum_0_and_finalize_free_the_buffer_and_leave_a_usable_record)
{
    for (const bool isFinalize : {false, true}) {
        this->fill(this->seq, 2, 4);
        EXPECT_TRUE(isFinalize ? TypeParam::finalize(&this->seq) : TypeParam::set_maximum(&this->seq, 0));
        EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), this->blocksBefore);
    }
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCapacity, a_lent_buffer_is_neither_resized_nor_freed)
{
    EXPECT_TRUE(TypeParam::loan_contiguous(&this->seq, this->elements.data(), 2, 4));
    EXPECT_TRUE(TypeParam::loan_discontiguous(&this->other, this->pointers.data(), 2, 4));
    for (auto *record : {&this->seq, &this->other}) {
        const auto before = *record;
        for (const DDS_Long maximum : {0, 3, 4, 5}) {
            EXPECT_FALSE(TypeParam::set_maximum(record, maximum));
            EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "buffer must not be loaned"}}));
        }
        EXPECT_FALSE(TypeParam::finalize(record));
        EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "buffer must not be loaned"}}));
        EXPECT_TRUE(this->isUnchanged(*record, before));
    }
    // Not even an empty loan.
    EXPECT_TRUE(TypeParam::unloan(&this->seq));
    EXPECT_TRUE(TypeParam::loan_contiguous(&this->seq, nullptr, 0, 0));
    EXPECT_FALSE(TypeParam::finalize(&this->seq));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "buffer must not be loaned"}}));
}

TYPED_TEST(SequenceCapacity, a_sequence_that_may_not_allocate_is_not_resized)
{
    const DDS_TypeAllocationParams_t params{1, 0, 0};
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
    EXPECT_TRUE(TypeParam::set_element_allocation_params(&this->seq, &params));
    const auto before = this->seq;
    for (const DDS_Long maximum : {0, 1, -1}) {
        EXPECT_FALSE(TypeParam::set_maximum(&this->seq, maximum));
        EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "allocate_memory must be true"}}));
    }
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
    this->seq._elementAllocParams.allocate_memory = 2;  // any value that is not 0 is true
    EXPECT_TRUE(TypeParam::set_maximum(&this->seq, 1));
}

TYPED_TEST(SequenceCapacity, a_negative_maximum_is_refused)
{
    this->fill(this->seq, 2, 4);
    for (const DDS_Long maximum : {-1, INT32_MIN}) {
        EXPECT_FALSE(TypeParam::set_maximum(&this->seq, maximum));
        EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "max size must be positive"}}));
    }
    EXPECT_TRUE(this->holds(this->seq, 2, 4));
}

TYPED_TEST(SequenceCapacity, a_maximum_above_the_absolute_one_is_refused)
{
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 4));
    this->fill(this->seq, 2, 4);
    for (const DDS_Long maximum : {5, INT32_MAX}) {
        EXPECT_FALSE(TypeParam::set_maximum(&this->seq, maximum));
        EXPECT_TRUE(this->printed(
            {{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "new max cannot be larger than absolute maximum"}}));
    }
    EXPECT_TRUE(this->holds(this->seq, 2, 4));
}

TYPED_TEST(SequenceCapacity, the_checks_of_set_maximum_come_in_order)
{
    // A loan under an absolute maximum, which may not allocate, and a negative argument: everything is wrong at once.
    const DDS_TypeAllocationParams_t params{1, 0, 0};
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
    EXPECT_TRUE(TypeParam::set_element_allocation_params(&this->seq, &params));
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 4));
    EXPECT_TRUE(TypeParam::loan_contiguous(&this->seq, this->elements.data(), 2, 4));
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, -1));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "allocate_memory must be true"}}));
    this->seq._elementAllocParams.allocate_memory = DDS_BOOLEAN_TRUE;
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, -1));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "max size must be positive"}}));
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, 5));
    EXPECT_TRUE(
        this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "new max cannot be larger than absolute maximum"}}));
    EXPECT_FALSE(TypeParam::set_maximum(&this->seq, 4));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "buffer must not be loaned"}}));
}

// -- set_length. ------------------------------------------------------------------------------------------------------

TYPED_TEST(SequenceCapacity, a_length_within_the_capacity_touches_no_element)
{
    this->fill(this->seq, 4, 4);
    auto *buffer = this->seq._contiguous_buffer;
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 1));
    EXPECT_TRUE(this->holds(this->seq, 1, 4));
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 0));
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 4));
    EXPECT_TRUE(this->holds(this->seq, 4, 4));  // what the buffer held is there again
    EXPECT_EQ(this->seq._contiguous_buffer, buffer);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCapacity, a_length_beyond_the_capacity_grows_it_to_exactly_the_length)
{
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 1));
    EXPECT_EQ(this->seq._maximum, 1U);
    *TypeParam::get_reference(&this->seq, 0) = TypeParam::element(1);
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 6));
    EXPECT_EQ(this->seq._maximum, 6U);
    EXPECT_EQ(this->seq._length, 6U);
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 0), TypeParam::element(1)));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCapacity, a_length_beyond_the_absolute_maximum_or_31_bits_fails)
{
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 4));
    this->fill(this->seq, 2, 3);
    for (const DDS_UnsignedLong length : {5U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(TypeParam::set_length(&this->seq, length));
        EXPECT_TRUE(
            this->printed({{"set_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 4, static_cast<int>(length)}}));
    }
    EXPECT_TRUE(this->holds(this->seq, 2, 3));

    // The sign decides even where the bound would allow the number.
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, -1));
    EXPECT_FALSE(TypeParam::set_length(&this->seq, 0x80000000U));
    EXPECT_TRUE(this->printed({{"set_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, -1, INT32_MIN}}));
    EXPECT_TRUE(this->holds(this->seq, 2, 3));
}

TYPED_TEST(SequenceCapacity, a_loan_takes_lengths_up_to_its_capacity)
{
    EXPECT_TRUE(TypeParam::loan_contiguous(&this->seq, this->elements.data(), 0, 4));
    EXPECT_TRUE(TypeParam::set_length(&this->seq, 4));
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 3), TypeParam::element(4)));
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 2, 9));
    EXPECT_TRUE(this->printedNothing());

    const auto before = this->seq;
    EXPECT_FALSE(TypeParam::set_length(&this->seq, 5));
    EXPECT_TRUE(this->printed({{"ensure_length", DDS_LOG_SEQUENCE_NOT_OWNER}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
}

// -- ensure_length. ---------------------------------------------------------------------------------------------------

TYPED_TEST(SequenceCapacity, ensure_length_grows_to_the_given_maximum_only_when_needed)
{
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 2, 5));
    EXPECT_EQ(this->seq._maximum, 5U);
    EXPECT_EQ(this->seq._length, 2U);
    auto *buffer = this->seq._contiguous_buffer;
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 5, 9));
    EXPECT_EQ(this->seq._maximum, 5U);  // enough: stays
    EXPECT_TRUE(TypeParam::ensure_length(&this->seq, 3, 3));
    EXPECT_EQ(this->seq._maximum, 5U);  // also when it exceeds the maximum asked for
    EXPECT_EQ(this->seq._length, 3U);
    EXPECT_EQ(this->seq._contiguous_buffer, buffer);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCapacity, ensure_length_with_a_length_above_the_maximum_does_not_touch_the_record)
{
    this->seq = this->garbage();
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 5, 3));
    EXPECT_TRUE(this->printed({{"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 5, 3}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->garbage()));
    EXPECT_FALSE(TypeParam::ensure_length(nullptr, 5, 3));
    EXPECT_TRUE(this->printed({{"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 5, 3}}));
}

TYPED_TEST(SequenceCapacity, ensure_length_of_null_is_reported_by_its_steps)
{
    EXPECT_FALSE(TypeParam::ensure_length(nullptr, 1, 1));
    EXPECT_TRUE(this->printed(
        {{"get_maximum", DDS_LOG_BAD_PARAMETER_s, "self"}, {"ensure_length", DDS_LOG_SEQUENCE_NOT_OWNER}}));
    EXPECT_FALSE(TypeParam::ensure_length(nullptr, 0, 1));
    EXPECT_TRUE(this->printed({{"get_maximum", DDS_LOG_BAD_PARAMETER_s, "self"},
                               {"set_length", DDS_LOG_BAD_PARAMETER_s, "self"},
                               {"ensure_length", DDS_LOG_SET_FAILURE_s, "length"}}));
}

TYPED_TEST(SequenceCapacity, ensure_length_with_a_negative_length_fails_in_set_length)
{
    this->fill(this->seq, 2, 3);
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, -1, 3));
    EXPECT_TRUE(this->printed({{"set_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, INT32_MAX, -1},
                               {"ensure_length", DDS_LOG_SET_FAILURE_s, "length"}}));
    EXPECT_TRUE(this->holds(this->seq, 2, 3));
}

TYPED_TEST(SequenceCapacity, ensure_length_that_cannot_grow_reports_the_old_and_the_wanted_maximum)
{
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 4));
    this->fill(this->seq, 2, 3);
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 4, 5));
    EXPECT_TRUE(
        this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "new max cannot be larger than absolute maximum"},
                       {"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 3, 5}}));
    EXPECT_TRUE(this->holds(this->seq, 2, 3));
}

TYPED_TEST(SequenceCapacity, a_loan_that_is_too_small_is_not_grown)
{
    EXPECT_TRUE(TypeParam::loan_discontiguous(&this->seq, this->pointers.data(), 1, 3));
    const auto before = this->seq;
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 4, 5));
    EXPECT_TRUE(this->printed({{"ensure_length", DDS_LOG_SEQUENCE_NOT_OWNER}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
}
