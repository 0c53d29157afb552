/// @file
/// Loans of a caller's buffer to a sequence, and the raw buffers.
#include <cstdint>

#include "SequenceFixture.hpp"

template <class Api>
class SequenceLoan : public SequenceFixture<Api> {
protected:
    /// Lend this many places of the caller's buffer, one way or the other; null when `hasBuffer` is false.
    DDS_Boolean lend(bool isContiguous, int length, int maximum, bool hasBuffer = true)
    {
        return isContiguous
                   ? Api::loan_contiguous(&this->seq, hasBuffer ? this->elements.data() : nullptr, length, maximum)
                   : Api::loan_discontiguous(&this->seq, hasBuffer ? this->pointers.data() : nullptr, length, maximum);
    }
    static const char *operation(bool isContiguous) { return isContiguous ? "loan_contiguous" : "loan_discontiguous"; }
};
TYPED_TEST_SUITE(SequenceLoan, SequenceApis);

TYPED_TEST(SequenceLoan, a_loan_installs_the_callers_buffer_and_unloan_forgets_it)
{
    for (const bool isContiguous : {true, false}) {
        EXPECT_TRUE(this->lend(isContiguous, 3, 8));
        EXPECT_EQ(this->seq._contiguous_buffer, isContiguous ? this->elements.data() : nullptr);
        EXPECT_EQ(this->seq._discontiguous_buffer, isContiguous ? nullptr : this->pointers.data());
        EXPECT_EQ(this->seq._length, 3U);
        EXPECT_EQ(this->seq._maximum, 8U);
        EXPECT_EQ(this->seq._owned, DDS_BOOLEAN_FALSE);

        EXPECT_TRUE(TypeParam::unloan(&this->seq));
        EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    }
    for (int i = 0; i < 8; ++i)  // the caller's memory is as it was
        EXPECT_TRUE(TypeParam::isSame(this->elements[static_cast<std::size_t>(i)], TypeParam::element(i + 1)));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceLoan, elements_written_through_a_loan_are_the_callers)
{
    EXPECT_TRUE(this->lend(false, 2, 8));
    *TypeParam::get_reference(&this->seq, 1) = TypeParam::element(50);
    EXPECT_TRUE(TypeParam::isSame(this->elements[6], TypeParam::element(50)));
    EXPECT_TRUE(TypeParam::unloan(&this->seq));
    EXPECT_TRUE(this->lend(true, 8, 8));
    *TypeParam::get_reference(&this->seq, 0) = TypeParam::element(51);
    EXPECT_TRUE(TypeParam::isSame(this->elements[0], TypeParam::element(51)));
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 6), TypeParam::element(50)));
}

TYPED_TEST(SequenceLoan, an_empty_loan_of_null_is_a_loan)
{
    for (const bool isContiguous : {true, false}) {
        EXPECT_TRUE(this->lend(isContiguous, 0, 0, false));
        EXPECT_EQ(TypeParam::has_ownership(&this->seq), DDS_BOOLEAN_FALSE);
        EXPECT_EQ(TypeParam::get_length(&this->seq), 0);
        EXPECT_EQ(TypeParam::get_maximum(&this->seq), 0);
        EXPECT_TRUE(TypeParam::unloan(&this->seq));
        EXPECT_EQ(TypeParam::has_ownership(&this->seq), DDS_BOOLEAN_TRUE);
    }
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceLoan, a_loan_without_capacity_can_be_replaced_by_any_other)
{
    for (const bool isContiguous : {true, false}) {
        EXPECT_TRUE(this->lend(!isContiguous, 0, 0));
        EXPECT_TRUE(this->lend(isContiguous, 2, 8));
        EXPECT_EQ(this->seq._contiguous_buffer, isContiguous ? this->elements.data() : nullptr);
        EXPECT_EQ(this->seq._discontiguous_buffer, isContiguous ? nullptr : this->pointers.data());
        EXPECT_EQ(TypeParam::get_length(&this->seq), 2);
        EXPECT_TRUE(TypeParam::unloan(&this->seq));
    }
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceLoan, a_sequence_that_holds_a_buffer_takes_no_loan)
{
    for (const bool isContiguous : {true, false}) {
        this->fill(this->seq, 2, 4);
        EXPECT_FALSE(this->lend(isContiguous, 1, 2));
        EXPECT_TRUE(this->printed({{this->operation(isContiguous), ZYL_LOG_ASSERT_FAILURE_s, "max size must be 0"}}));
        EXPECT_TRUE(this->holds(this->seq, 2, 4));
        EXPECT_TRUE(TypeParam::finalize(&this->seq));

        EXPECT_TRUE(this->lend(true, 1, 2));
        const auto before = this->seq;
        EXPECT_FALSE(this->lend(isContiguous, 1, 2));
        EXPECT_TRUE(this->printed({{this->operation(isContiguous), ZYL_LOG_ASSERT_FAILURE_s, "max size must be 0"}}));
        EXPECT_TRUE(this->isUnchanged(this->seq, before));
        EXPECT_TRUE(TypeParam::unloan(&this->seq));
    }
}

TYPED_TEST(SequenceLoan, every_bad_argument_of_a_loan_is_refused_and_changes_nothing)
{
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 4));
    const auto before = this->seq;
    for (const bool isContiguous : {true, false}) {
        const char *operation = this->operation(isContiguous);
        EXPECT_FALSE(this->lend(isContiguous, -1, 2));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "negative argument"}}));
        EXPECT_FALSE(this->lend(isContiguous, 0, -1));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "negative argument"}}));
        EXPECT_FALSE(this->lend(isContiguous, INT32_MIN, INT32_MIN));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "negative argument"}}));
        EXPECT_FALSE(this->lend(isContiguous, 3, 2));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 2, 3}}));
        EXPECT_FALSE(this->lend(isContiguous, 0, 1, false));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "NULL buffer can't have non-zero maximum"}}));
        EXPECT_FALSE(this->lend(isContiguous, 2, 5));
        EXPECT_TRUE(
            this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "new max cannot be larger than absolute maximum"}}));
        EXPECT_TRUE(this->isUnchanged(this->seq, before));
    }
    EXPECT_FALSE(TypeParam::loan_contiguous(nullptr, this->elements.data(), 1, 1));
    EXPECT_TRUE(this->printed({{"loan_contiguous", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_FALSE(TypeParam::loan_discontiguous(nullptr, this->pointers.data(), 1, 1));
    EXPECT_TRUE(this->printed({{"loan_discontiguous", DDS_LOG_BAD_PARAMETER_s, "self"}}));
}

TYPED_TEST(SequenceLoan, the_checks_of_a_loan_come_in_order)
{
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 4));
    for (const bool isContiguous : {true, false}) {
        const char *operation = this->operation(isContiguous);
        this->fill(this->seq, 1, 1);
        EXPECT_FALSE(this->lend(isContiguous, -1, -2, false));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "max size must be 0"}}));
        EXPECT_TRUE(TypeParam::finalize(&this->seq));
        EXPECT_FALSE(this->lend(isContiguous, 5, -2, false));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "negative argument"}}));
        EXPECT_FALSE(this->lend(isContiguous, 6, 5, false));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 5, 6}}));
        EXPECT_FALSE(this->lend(isContiguous, 5, 5, false));
        EXPECT_TRUE(this->printed({{operation, ZYL_LOG_ASSERT_FAILURE_s, "NULL buffer can't have non-zero maximum"}}));
    }
}

TYPED_TEST(SequenceLoan, a_loan_may_be_as_large_as_the_absolute_maximum)
{
    EXPECT_TRUE(this->lend(true, 8, INT32_MAX));  // the caller's word is taken for it
    EXPECT_EQ(TypeParam::get_maximum(&this->seq), INT32_MAX);
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 7), TypeParam::element(8)));
    EXPECT_TRUE(TypeParam::set_length(&this->seq, INT32_MAX));
    EXPECT_EQ(TypeParam::get_length(&this->seq), INT32_MAX);
    EXPECT_TRUE(TypeParam::unloan(&this->seq));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceLoan, unloan_of_an_owned_sequence_fails)
{
    this->fill(this->seq, 2, 4);
    EXPECT_FALSE(TypeParam::unloan(&this->seq));
    EXPECT_TRUE(this->printed({{"unloan", ZYL_LOG_ASSERT_FAILURE_s, "buffer must be loaned"}}));
    EXPECT_TRUE(this->holds(this->seq, 2, 4));
    EXPECT_FALSE(TypeParam::unloan(&this->other));
    EXPECT_TRUE(this->printed({{"unloan", ZYL_LOG_ASSERT_FAILURE_s, "buffer must be loaned"}}));
    EXPECT_FALSE(TypeParam::unloan(nullptr));
    EXPECT_TRUE(this->printed({{"unloan", DDS_LOG_BAD_PARAMETER_s, "self"}}));
}

TYPED_TEST(SequenceLoan, a_copy_of_an_array_of_pointers_is_contiguous_and_owned)
{
    EXPECT_TRUE(this->lend(false, 3, 8));
    EXPECT_EQ(TypeParam::copy(&this->other, &this->seq), &this->other);
    EXPECT_EQ(this->other._discontiguous_buffer, nullptr);
    EXPECT_EQ(this->other._owned, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(this->other._maximum, 8U);
    EXPECT_EQ(this->other._length, 3U);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(TypeParam::isSame(this->other._contiguous_buffer[i], TypeParam::element(8 - i)));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceLoan, the_raw_buffers_are_those_of_the_record)
{
    this->fill(this->other, 1, 2);
    EXPECT_EQ(TypeParam::get_contiguous_buffer(&this->other), this->other._contiguous_buffer);
    EXPECT_EQ(TypeParam::get_contiguous_bufferI(&this->other), this->other._contiguous_buffer);
    EXPECT_EQ(TypeParam::get_discontiguous_buffer(&this->other), nullptr);
    EXPECT_EQ(TypeParam::get_discontiguous_bufferI(&this->other), nullptr);
    EXPECT_TRUE(this->lend(false, 1, 2));
    EXPECT_EQ(TypeParam::get_contiguous_buffer(&this->seq), nullptr);
    EXPECT_EQ(TypeParam::get_contiguous_bufferI(&this->seq), nullptr);
    EXPECT_EQ(TypeParam::get_discontiguous_buffer(&this->seq), this->pointers.data());
    EXPECT_EQ(TypeParam::get_discontiguous_bufferI(&this->seq), this->pointers.data());
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceLoan, the_raw_buffers_of_null_are_null)
{
    EXPECT_EQ(TypeParam::get_contiguous_buffer(nullptr), nullptr);
    EXPECT_TRUE(this->printed({{"get_contiguous_buffer", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_EQ(TypeParam::get_contiguous_bufferI(nullptr), nullptr);
    EXPECT_TRUE(this->printed({{"get_contiguous_bufferI", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_EQ(TypeParam::get_discontiguous_buffer(nullptr), nullptr);
    EXPECT_TRUE(this->printed({{"get_discontiguous_buffer", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_EQ(TypeParam::get_discontiguous_bufferI(nullptr), nullptr);
    EXPECT_TRUE(this->printed({{"get_discontiguous_bufferI", DDS_LOG_BAD_PARAMETER_s, "self"}}));
}
