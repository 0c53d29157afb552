/// @file
/// Copies of sequences, with and without allocation, between all layouts, and conversions from and to arrays.
#include <array>
#include <cstdint>

#include "SequenceFixture.hpp"

template <class Api>
class SequenceCopy : public SequenceFixture<Api> {
protected:
    /// Make the record a loan of `capacity` places in `places`, one way or the other.
    void lend(typename Api::Seq &record, bool isContiguous, int length, int capacity)
    {
        for (std::size_t i = 0; i < places.size(); ++i) {
            places[i] = Api::element(100);
            placePointers[i] = &places[places.size() - 1 - i];
        }
        ASSERT_TRUE(isContiguous ? Api::loan_contiguous(&record, places.data(), length, capacity)
                                 : Api::loan_discontiguous(&record, placePointers.data(), length, capacity));
    }
    std::array<typename Api::Element, 8> places{};
    std::array<typename Api::Element *, 8> placePointers{};
};
TYPED_TEST_SUITE(SequenceCopy, SequenceApis);

// -- copy. ------------------------------------------------------------------------------------------------------------

TYPED_TEST(SequenceCopy, copy_grows_to_the_capacity_of_the_source)
{
    this->fill(this->other, 10, 100);
    EXPECT_EQ(TypeParam::copy(&this->seq, &this->other), &this->seq);
    EXPECT_TRUE(this->holds(this->seq, 10, 100));
    EXPECT_TRUE(this->holds(this->other, 10, 100));
    EXPECT_NE(this->seq._contiguous_buffer, this->other._contiguous_buffer);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, copy_into_enough_capacity_keeps_the_buffer)
{
    this->fill(this->seq, 7, 8);
    this->fill(this->other, 3, 100);
    auto *buffer = this->seq._contiguous_buffer;
    EXPECT_EQ(TypeParam::copy(&this->seq, &this->other), &this->seq);
    EXPECT_TRUE(this->holds(this->seq, 3, 8));
    EXPECT_EQ(this->seq._contiguous_buffer, buffer);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, copying_a_record_that_was_never_initialized_yields_an_empty_sequence)
{
    const typename TypeParam::Seq zero{};
    const auto garbage = this->garbage();
    for (const auto *source : {&zero, &garbage}) {
        const auto sourceBefore = *source;
        this->fill(this->seq, 3, 4);
        EXPECT_EQ(TypeParam::copy(&this->seq, source), &this->seq);
        EXPECT_TRUE(this->holds(this->seq, 0, 4));
        this->fill(this->seq, 3, 4);
        EXPECT_TRUE(TypeParam::copy_no_alloc(&this->seq, source));
        EXPECT_TRUE(this->holds(this->seq, 0, 4));
        this->fill(this->seq, 3, 4);
        EXPECT_TRUE(TypeParam::copy_no_allocI(&this->seq, source));
        EXPECT_TRUE(this->holds(this->seq, 0, 4));
        EXPECT_TRUE(this->isUnchanged(*source, sourceBefore));  // it is only read
        this->lend(this->other, true, 2, 2);
        EXPECT_TRUE(TypeParam::copy_no_alloc(&this->other, source));
        EXPECT_EQ(this->other._length, 0U);
        EXPECT_TRUE(TypeParam::unloan(&this->other));
    }
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, copy_refuses_null)
{
    EXPECT_EQ(TypeParam::copy(nullptr, &this->other), nullptr);
    EXPECT_TRUE(this->printed({{"copy", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_EQ(TypeParam::copy(&this->seq, nullptr), nullptr);
    EXPECT_TRUE(this->printed({{"copy", DDS_LOG_BAD_PARAMETER_s, "src"}}));
    EXPECT_EQ(TypeParam::copy(nullptr, nullptr), nullptr);
    EXPECT_TRUE(this->printed({{"copy", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_EQ(this->seq._sequence_init, 0);  // refused before the first use
}

TYPED_TEST(SequenceCopy, copy_into_a_loan_that_is_too_small_fails_in_set_maximum)
{
    this->fill(this->other, 4, 5);
    for (const bool isContiguous : {true, false}) {
        this->lend(this->seq, isContiguous, 1, 3);
        const auto before = this->seq;
        EXPECT_EQ(TypeParam::copy(&this->seq, &this->other), nullptr);
        EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "buffer must not be loaned"}}));
        EXPECT_TRUE(this->isUnchanged(this->seq, before));
        EXPECT_TRUE(TypeParam::unloan(&this->seq));
    }
}

TYPED_TEST(SequenceCopy, copy_does_not_grow_past_the_absolute_maximum)
{
    this->fill(this->other, 4, 9);
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 8));  // enough for the length, not for the capacity
    EXPECT_EQ(TypeParam::copy(&this->seq, &this->other), nullptr);
    EXPECT_TRUE(
        this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "new max cannot be larger than absolute maximum"}}));
    EXPECT_TRUE(this->holds(this->seq, 0, 0));
}

TYPED_TEST(SequenceCopy, a_sequence_can_be_copied_onto_itself)
{
    this->fill(this->seq, 3, 5);
    EXPECT_EQ(TypeParam::copy(&this->seq, &this->seq), &this->seq);
    EXPECT_TRUE(this->holds(this->seq, 3, 5));
    EXPECT_TRUE(TypeParam::copy_no_alloc(&this->seq, &this->seq));
    EXPECT_TRUE(this->holds(this->seq, 3, 5));
    EXPECT_EQ(TypeParam::copy(&this->other, &this->other), &this->other);  // its first use, too
    EXPECT_TRUE(this->isUnchanged(this->other, this->initialState()));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, copy_leaves_parameters_tokens_and_the_absolute_maximum_alone)
{
    this->fill(this->other, 2, 3);
    int token = 0;
    TypeParam::set_read_tokenI(&this->other, &token, &token);
    const DDS_TypeDeallocationParams_t params{0, 0};
    EXPECT_TRUE(TypeParam::set_element_deallocation_params(&this->other, &params));
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->other, 3));
    EXPECT_EQ(TypeParam::copy(&this->seq, &this->other), &this->seq);
    EXPECT_EQ(this->seq._read_token1, nullptr);
    EXPECT_EQ(this->seq._read_token2, nullptr);
    EXPECT_EQ(this->seq._absolute_maximum, 0x7FFFFFFFU);
    EXPECT_TRUE(this->hasParams(this->seq, this->initialState()));
}

// -- copy_no_alloc. ---------------------------------------------------------------------------------------------------

TYPED_TEST(SequenceCopy, the_four_layouts_are_copied_by_value)
{
    for (const bool isSourceContiguous : {true, false}) {
        for (const bool isContiguous : {true, false}) {
            ASSERT_TRUE(isSourceContiguous ? TypeParam::loan_contiguous(&this->other, this->elements.data(), 3, 8)
                                           : TypeParam::loan_discontiguous(&this->other, this->pointers.data(), 3, 8));
            this->lend(this->seq, isContiguous, 0, 4);
            const auto before = this->seq;
            EXPECT_TRUE(TypeParam::copy_no_alloc(&this->seq, &this->other));
            EXPECT_EQ(this->seq._length, 3U);
            this->seq._length = 0;
            EXPECT_TRUE(this->isUnchanged(this->seq, before));  // the caller's buffer is still the one
            for (std::size_t i = 0; i < 4; ++i) {
                const auto &place = isContiguous ? this->places[i] : *this->placePointers[i];
                const int number = isSourceContiguous ? static_cast<int>(i) + 1 : 8 - static_cast<int>(i);
                EXPECT_TRUE(TypeParam::isSame(place, TypeParam::element(i < 3 ? number : 100))) << i;
            }
            EXPECT_TRUE(TypeParam::unloan(&this->seq));
            EXPECT_TRUE(TypeParam::unloan(&this->other));
        }
    }
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, copy_no_alloc_into_a_loan_that_is_too_small_names_the_owner)
{
    this->fill(this->other, 4, 4);
    this->lend(this->seq, true, 1, 3);
    const auto before = this->seq;
    EXPECT_FALSE(TypeParam::copy_no_alloc(&this->seq, &this->other));
    EXPECT_TRUE(this->printed({{"copy_no_alloc", DDS_LOG_SEQUENCE_NOT_OWNER}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
    EXPECT_TRUE(TypeParam::set_length(&this->other, 3));
    EXPECT_TRUE(TypeParam::copy_no_alloc(&this->seq, &this->other));
    EXPECT_EQ(this->seq._length, 3U);
}

TYPED_TEST(SequenceCopy, copy_no_alloc_into_an_owned_sequence_that_is_too_small_names_the_space)
{
    this->fill(this->other, 4, 4);
    this->fill(this->seq, 2, 3);
    EXPECT_FALSE(TypeParam::copy_no_alloc(&this->seq, &this->other));
    EXPECT_TRUE(this->printed({{"copy_no_allocI", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 3, 4}}));
    EXPECT_TRUE(this->holds(this->seq, 2, 3));
}

TYPED_TEST(SequenceCopy, copy_no_alloc_tests_ownership_before_the_invariants)
{
    this->fill(this->other, 4, 4);
    this->lend(this->seq, true, 1, 3);
    this->seq._length = 9;
    EXPECT_FALSE(TypeParam::copy_no_alloc(&this->seq, &this->other));
    EXPECT_TRUE(this->printed({{"copy_no_alloc", DDS_LOG_SEQUENCE_NOT_OWNER}}));
    EXPECT_TRUE(TypeParam::set_length(&this->other, 3));
    EXPECT_FALSE(TypeParam::copy_no_alloc(&this->seq, &this->other));
    EXPECT_TRUE(this->printed({{"copy_no_alloc", ZYL_LOG_ASSERT_FAILURE_s, "invariant: length > maximum"}}));
}

TYPED_TEST(SequenceCopy, copy_no_alloc_refuses_null)
{
    EXPECT_FALSE(TypeParam::copy_no_alloc(nullptr, &this->other));
    EXPECT_TRUE(this->printed({{"copy_no_alloc", DDS_LOG_BAD_PARAMETER_s, "self"}}));
    EXPECT_FALSE(TypeParam::copy_no_alloc(&this->seq, nullptr));
    EXPECT_TRUE(this->printed({{"copy_no_alloc", DDS_LOG_BAD_PARAMETER_s, "src"}}));
    EXPECT_EQ(this->seq._sequence_init, 0);
}

// -- from_array, to_array. --------------------------------------------------------------------------------------------

TYPED_TEST(SequenceCopy, from_array_makes_an_owned_copy)
{
    EXPECT_TRUE(TypeParam::from_array(&this->seq, this->elements.data(), 5));
    EXPECT_TRUE(this->holds(this->seq, 5, 5));
    EXPECT_NE(this->seq._contiguous_buffer, this->elements.data());
    EXPECT_TRUE(TypeParam::from_array(&this->seq, this->elements.data(), 2));
    EXPECT_TRUE(this->holds(this->seq, 2, 5));
    EXPECT_TRUE(TypeParam::from_array(&this->seq, this->elements.data(), 0));
    EXPECT_TRUE(this->holds(this->seq, 0, 5));
    EXPECT_TRUE(TypeParam::from_array(&this->seq, nullptr, 0));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, from_array_reports_both_of_its_steps)
{
    EXPECT_FALSE(TypeParam::from_array(&this->seq, nullptr, 1));
    EXPECT_TRUE(this->printed({{"loan_contiguous", ZYL_LOG_ASSERT_FAILURE_s, "NULL buffer can't have non-zero maximum"},
                               {"from_array", ZYL_LOG_ANY_FAILURE_s, "loan contiguous array"}}));
    EXPECT_FALSE(TypeParam::from_array(&this->seq, this->elements.data(), -1));
    EXPECT_TRUE(this->printed({{"loan_contiguous", ZYL_LOG_ASSERT_FAILURE_s, "negative argument"},
                               {"from_array", ZYL_LOG_ANY_FAILURE_s, "loan contiguous array"}}));
    EXPECT_EQ(this->seq._sequence_init, 0);

    this->lend(this->seq, true, 1, 1);
    EXPECT_FALSE(TypeParam::from_array(&this->seq, this->elements.data(), 2));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "buffer must not be loaned"},
                               {"from_array", ZYL_LOG_ANY_FAILURE_s, "copy array sequence"}}));
    EXPECT_FALSE(TypeParam::from_array(nullptr, this->elements.data(), 2));
    EXPECT_TRUE(this->printed(
        {{"copy", DDS_LOG_BAD_PARAMETER_s, "self"}, {"from_array", ZYL_LOG_ANY_FAILURE_s, "copy array sequence"}}));
}

TYPED_TEST(SequenceCopy, to_array_writes_the_elements_and_nothing_beyond)
{
    this->fill(this->seq, 3, 5);
    for (auto &place : this->places) place = TypeParam::element(100);
    EXPECT_TRUE(TypeParam::to_array(&this->seq, this->places.data(), 8));
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_TRUE(TypeParam::isSame(this->places[i], TypeParam::element(i < 3 ? static_cast<int>(i) + 1 : 100)));
    EXPECT_TRUE(TypeParam::to_array(&this->seq, this->places.data(), 3));
    EXPECT_TRUE(this->holds(this->seq, 3, 5));

    EXPECT_TRUE(TypeParam::loan_discontiguous(&this->other, this->pointers.data(), 2, 8));
    EXPECT_TRUE(TypeParam::to_array(&this->other, this->places.data(), 2));
    EXPECT_TRUE(TypeParam::isSame(this->places[0], TypeParam::element(8)));
    EXPECT_TRUE(TypeParam::isSame(this->places[1], TypeParam::element(7)));

    const auto garbage = this->garbage();
    EXPECT_TRUE(TypeParam::to_array(&garbage, nullptr, 0));  // never initialized: empty, and left alone
    EXPECT_TRUE(this->isUnchanged(garbage, this->garbage()));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(SequenceCopy, to_array_with_too_little_room_leaves_the_array_untouched)
{
    this->fill(this->seq, 3, 5);
    for (auto &place : this->places) place = TypeParam::element(100);
    EXPECT_FALSE(TypeParam::to_array(&this->seq, this->places.data(), 2));
    EXPECT_TRUE(this->printed({{"copy_no_allocI", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 2, 3},
                               {"to_array", DDS_LOG_SET_FAILURE_s, "copying array sequence"}}));
    for (const auto &place : this->places) EXPECT_TRUE(TypeParam::isSame(place, TypeParam::element(100)));
}

TYPED_TEST(SequenceCopy, to_array_refuses_a_bad_array_and_null)
{
    this->fill(this->seq, 3, 5);
    EXPECT_FALSE(TypeParam::to_array(&this->seq, nullptr, 3));
    EXPECT_TRUE(this->printed({{"loan_contiguous", ZYL_LOG_ASSERT_FAILURE_s, "NULL buffer can't have non-zero maximum"},
                               {"to_array", DDS_LOG_SET_FAILURE_s, "loan contiguous array"}}));
    EXPECT_FALSE(TypeParam::to_array(&this->seq, this->places.data(), -1));
    EXPECT_TRUE(this->printed({{"loan_contiguous", ZYL_LOG_ASSERT_FAILURE_s, "negative argument"},
                               {"to_array", DDS_LOG_SET_FAILURE_s, "loan contiguous array"}}));
    EXPECT_FALSE(TypeParam::to_array(nullptr, this->places.data(), 8));
    EXPECT_TRUE(this->printed({{"to_array", DDS_LOG_BAD_PARAMETER_s, "self"}}));
}
