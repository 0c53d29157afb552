/// @file
/// The sequence's record: initial state, first use, invariants, elements, parameters and tokens.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "SequenceFixture.hpp"
#include "dds_c/dds_c_log.h"

template <class Api>
class Sequence : public SequenceFixture<Api> {
};
TYPED_TEST_SUITE(Sequence, SequenceApis);

// -- The record. ------------------------------------------------------------------------------------------------------

TYPED_TEST(Sequence, the_record_has_the_documented_fields_in_order)
{
    using Record = typename TypeParam::Seq;
    using T = typename TypeParam::Element;
    static_assert(std::is_same_v<decltype(Record::_contiguous_buffer), T *>);
    static_assert(std::is_same_v<decltype(Record::_discontiguous_buffer), T **>);
    static_assert(std::is_same_v<decltype(Record::_maximum), DDS_UnsignedLong>);
    static_assert(std::is_same_v<decltype(Record::_length), DDS_UnsignedLong>);
    static_assert(std::is_same_v<decltype(Record::_sequence_init), DDS_Long>);
    static_assert(std::is_same_v<decltype(Record::_owned), DDS_Boolean>);
    static_assert(std::is_same_v<decltype(Record::_absolute_maximum), DDS_UnsignedLong>);
    const std::size_t offsets[] = {offsetof(Record, _contiguous_buffer),
                                   offsetof(Record, _discontiguous_buffer),
                                   offsetof(Record, _read_token1),
                                   offsetof(Record, _read_token2),
                                   offsetof(Record, _maximum),
                                   offsetof(Record, _length),
                                   offsetof(Record, _sequence_init),
                                   offsetof(Record, _owned),
                                   offsetof(Record, _elementAllocParams),
                                   offsetof(Record, _absolute_maximum),
                                   offsetof(Record, _elementDeallocParams)};
    EXPECT_EQ(offsets[0], 0U);
    for (std::size_t i = 1; i < std::size(offsets); ++i) EXPECT_LT(offsets[i - 1], offsets[i]) << i;
    EXPECT_EQ(DDS_SEQUENCE_MAGIC_NUMBER, 29508);
    EXPECT_EQ(DDS_SEQUENCE_ABSOLUTE_MAXIMUM_DEFAULT, 2147483647U);
}

TYPED_TEST(Sequence, the_static_initializer_spells_out_the_initial_state)
{
    const auto record = this->initialState();
    EXPECT_EQ(record._contiguous_buffer, nullptr);
    EXPECT_EQ(record._discontiguous_buffer, nullptr);
    EXPECT_EQ(record._read_token1, nullptr);
    EXPECT_EQ(record._read_token2, nullptr);
    EXPECT_EQ(record._maximum, 0U);
    EXPECT_EQ(record._length, 0U);
    EXPECT_EQ(record._sequence_init, 0x7344);
    EXPECT_EQ(record._owned, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(record._elementAllocParams.allocate_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(record._elementAllocParams.allocate_optional_members, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(record._elementAllocParams.allocate_memory, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(record._absolute_maximum, 0x7FFFFFFFU);
    EXPECT_EQ(record._elementDeallocParams.delete_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(record._elementDeallocParams.delete_optional_members, DDS_BOOLEAN_TRUE);
}

TYPED_TEST(Sequence, initialize_sets_the_initial_state_whatever_the_record_held)
{
    this->seq = this->garbage();
    EXPECT_EQ(TypeParam::initialize(&this->seq), DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));

    // Also over a live record: nothing is freed.
    this->fill(this->seq, 2, 3);
    auto *buffer = this->seq._contiguous_buffer;
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    EXPECT_TRUE(this->printedNothing());
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), this->blocksBefore + 1);
    ZYLOsapiHeap_freeArray(buffer);
}

TYPED_TEST(Sequence, initialize_refuses_null)
{
    EXPECT_EQ(TypeParam::initialize(nullptr), DDS_BOOLEAN_FALSE);
    EXPECT_TRUE(this->printed({{"initialize", DDS_LOG_BAD_PARAMETER_s, "self"}}));
}

// -- First use. -------------------------------------------------------------------------------------------------------

/// Every operation that initializes a record at its first use, each called so that it changes nothing more.
template <class Api>
using FirstUse = void (*)(typename Api::Seq *);

template <class Api>
constexpr FirstUse<Api> firstUses[] = {
    [](typename Api::Seq *self) { EXPECT_EQ(Api::get_maximum(self), 0); },
    [](typename Api::Seq *self) { EXPECT_TRUE(Api::set_maximum(self, 0)); },
    [](typename Api::Seq *self) { EXPECT_TRUE(Api::finalize(self)); },
    [](typename Api::Seq *self) { EXPECT_TRUE(Api::set_absolute_maximum(self, 0x7FFFFFFF)); },
    [](typename Api::Seq *self) { EXPECT_EQ(Api::get_length(self), 0); },
    [](typename Api::Seq *self) { EXPECT_TRUE(Api::set_length(self, 0)); },
    [](typename Api::Seq *self) { EXPECT_TRUE(Api::ensure_length(self, 0, 0)); },
    [](typename Api::Seq *self) { EXPECT_EQ(Api::has_ownership(self), DDS_BOOLEAN_TRUE); },
    [](typename Api::Seq *self) { Api::set_read_tokenI(self, nullptr, nullptr); },
    [](typename Api::Seq *self) {
        void *token1 = self;
        void *token2 = self;
        Api::get_read_tokenI(self, &token1, &token2);
        EXPECT_EQ(token1, nullptr);
        EXPECT_EQ(token2, nullptr);
    },
    [](typename Api::Seq *self) {
        const typename Api::Seq empty{};
        EXPECT_EQ(Api::copy(self, &empty), self);
    },
    [](typename Api::Seq *self) {
        const typename Api::Seq empty{};
        EXPECT_TRUE(Api::copy_no_alloc(self, &empty));
    },
    [](typename Api::Seq *self) { EXPECT_TRUE(Api::from_array(self, nullptr, 0)); },
    [](typename Api::Seq *self) { EXPECT_EQ(Api::get_contiguous_buffer(self), nullptr); },
    [](typename Api::Seq *self) { EXPECT_EQ(Api::get_contiguous_bufferI(self), nullptr); },
    [](typename Api::Seq *self) { EXPECT_EQ(Api::get_discontiguous_buffer(self), nullptr); },
    [](typename Api::Seq *self) { EXPECT_EQ(Api::get_discontiguous_bufferI(self), nullptr); },
};

TYPED_TEST(Sequence, a_zero_filled_or_garbage_record_becomes_an_empty_owned_sequence_at_its_first_use)
{
    for (std::size_t i = 0; i < std::size(firstUses<TypeParam>); ++i) {
        for (const auto &record : {typename TypeParam::Seq{}, this->garbage()}) {
            this->seq = record;
            firstUses<TypeParam>[i](&this->seq);
            EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState())) << "operation " << i;
            EXPECT_TRUE(this->printedNothing()) << "operation " << i;
        }
    }
}

TYPED_TEST(Sequence, a_first_use_that_fails_initializes_the_record_too)
{
    this->seq = this->garbage();
    EXPECT_EQ(TypeParam::get_reference(&this->seq, 0), nullptr);
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    EXPECT_TRUE(this->printed({{"get_reference", ZYL_LOG_ASSERT_FAILURE_s, "index out of bounds"}}));

    this->seq = this->garbage();
    EXPECT_FALSE(TypeParam::unloan(&this->seq));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    EXPECT_TRUE(this->printed({{"unloan", ZYL_LOG_ASSERT_FAILURE_s, "buffer must be loaned"}}));

    this->seq = this->garbage();
    EXPECT_FALSE(TypeParam::loan_contiguous(&this->seq, nullptr, -1, 0));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    EXPECT_TRUE(this->printed({{"loan_contiguous", ZYL_LOG_ASSERT_FAILURE_s, "negative argument"}}));
}

TYPED_TEST(Sequence, a_live_record_whose_mark_was_overwritten_is_taken_for_a_new_one)
{
    this->fill(this->seq, 2, 2);
    auto *buffer = this->seq._contiguous_buffer;
    this->seq._sequence_init = 0x7345;
    EXPECT_EQ(TypeParam::get_length(&this->seq), 0);
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
    EXPECT_TRUE(this->printedNothing());
    ZYLOsapiHeap_freeArray(buffer);  // the record has forgotten it
}

// -- Null. ------------------------------------------------------------------------------------------------------------

TYPED_TEST(Sequence, a_null_self_fails_every_operation_that_tests_it)
{
    const auto saysSelf = [this](const char *operation) {
        return this->printed({{operation, DDS_LOG_BAD_PARAMETER_s, "self"}});
    };
    EXPECT_EQ(TypeParam::get_maximum(nullptr), 0);
    EXPECT_TRUE(saysSelf("get_maximum"));
    EXPECT_FALSE(TypeParam::set_maximum(nullptr, 1));
    EXPECT_TRUE(saysSelf("set_maximum"));
    EXPECT_FALSE(TypeParam::finalize(nullptr));
    EXPECT_TRUE(saysSelf("set_maximum"));
    EXPECT_FALSE(TypeParam::set_absolute_maximum(nullptr, 1));
    EXPECT_TRUE(saysSelf("set_absolute_maximum"));
    EXPECT_EQ(TypeParam::get_length(nullptr), 0);
    EXPECT_TRUE(saysSelf("get_length"));
    EXPECT_FALSE(TypeParam::set_length(nullptr, 1));
    EXPECT_TRUE(saysSelf("set_length"));
    EXPECT_EQ(TypeParam::get_reference(nullptr, 0), nullptr);
    EXPECT_TRUE(saysSelf("get_reference"));
    EXPECT_EQ(TypeParam::has_ownership(nullptr), DDS_BOOLEAN_FALSE);
    EXPECT_TRUE(saysSelf("has_ownership"));
    EXPECT_EQ(TypeParam::check_invariantsI(nullptr, "any_operation"), 0);
    EXPECT_EQ(this->log.entries().at(0).function, "any_operation");
    EXPECT_LOG(this->log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    this->log.clear();

    DDS_TypeAllocationParams_t allocation{};
    EXPECT_FALSE(TypeParam::set_element_allocation_params(nullptr, &allocation));
    EXPECT_TRUE(saysSelf("set_element_allocation_params"));
    TypeParam::get_element_allocation_params(nullptr, &allocation);
    EXPECT_TRUE(saysSelf("get_element_allocation_params"));
    DDS_TypeDeallocationParams_t deallocation{};
    EXPECT_FALSE(TypeParam::set_element_deallocation_params(nullptr, &deallocation));
    EXPECT_TRUE(saysSelf("set_element_deallocation_params"));
    TypeParam::get_element_deallocation_params(nullptr, &deallocation);
    EXPECT_TRUE(saysSelf("get_element_deallocation_params"));

    void *token = this;
    TypeParam::get_read_tokenI(nullptr, &token, &token);
    EXPECT_TRUE(saysSelf("get_read_tokenI"));
    EXPECT_EQ(token, this);
    TypeParam::set_read_tokenI(nullptr, token, token);
    EXPECT_TRUE(saysSelf("set_read_tokenI"));
}

// -- Capacity getters and bounds. ------------------------------------------------------------------------------------

TYPED_TEST(Sequence, the_getters_tell_capacity_length_and_ownership)
{
    this->fill(this->seq, 2, 5);
    EXPECT_EQ(TypeParam::get_maximum(&this->seq), 5);
    EXPECT_EQ(TypeParam::get_length(&this->seq), 2);
    EXPECT_EQ(TypeParam::has_ownership(&this->seq), DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(TypeParam::loan_contiguous(&this->other, this->elements.data(), 1, 4));
    EXPECT_EQ(TypeParam::get_maximum(&this->other), 4);
    EXPECT_EQ(TypeParam::get_length(&this->other), 1);
    EXPECT_EQ(TypeParam::has_ownership(&this->other), DDS_BOOLEAN_FALSE);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(Sequence, the_absolute_maximum_is_never_below_the_capacity)
{
    this->fill(this->seq, 2, 5);
    const auto before = this->seq;
    EXPECT_FALSE(TypeParam::set_absolute_maximum(&this->seq, 4));
    EXPECT_TRUE(this->printed(
        {{"set_absolute_maximum", ZYL_LOG_ASSERT_FAILURE_s, "new absolute max cannot be smaller than max"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));

    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, 5));
    EXPECT_EQ(this->seq._absolute_maximum, 5U);
    EXPECT_TRUE(TypeParam::set_absolute_maximum(&this->seq, -1));  // compared and kept unsigned
    EXPECT_EQ(this->seq._absolute_maximum, 0xFFFFFFFFU);
    EXPECT_TRUE(this->printedNothing());
    EXPECT_TRUE(this->holds(this->seq, 2, 5));
}

// -- Elements. --------------------------------------------------------------------------------------------------------

TYPED_TEST(Sequence, get_and_get_reference_reach_every_element_of_both_layouts)
{
    this->fill(this->seq, 3, 4);
    EXPECT_TRUE(TypeParam::loan_discontiguous(&this->other, this->pointers.data(), 3, 8));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, i), TypeParam::element(i + 1)));
        EXPECT_EQ(TypeParam::get_reference(&this->seq, i), this->seq._contiguous_buffer + i);
        EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->other, i), TypeParam::element(8 - i)));
        EXPECT_EQ(TypeParam::get_reference(&this->other, i), &this->elements[static_cast<std::size_t>(7 - i)]);
    }
    EXPECT_TRUE(this->printedNothing());
    EXPECT_TRUE(TypeParam::unloan(&this->other));
}

TYPED_TEST(Sequence, get_with_a_bad_index_logs_and_reads_element_0)
{
    this->fill(this->seq, 3, 4);
    EXPECT_TRUE(TypeParam::loan_discontiguous(&this->other, this->pointers.data(), 3, 8));
    for (const DDS_Long index : {3, 4, 100, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, index), TypeParam::element(1))) << index;
        EXPECT_TRUE(this->printed({{"get", ZYL_LOG_ASSERT_FAILURE_s, "index out of bounds"}})) << index;
        EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->other, index), TypeParam::element(8))) << index;
        EXPECT_TRUE(this->printed({{"get", ZYL_LOG_ASSERT_FAILURE_s, "index out of bounds"}})) << index;
    }
    EXPECT_TRUE(TypeParam::unloan(&this->other));
}

TYPED_TEST(Sequence, get_of_a_sequence_without_a_buffer_logs_and_yields_a_zero_element)
{
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 0), TypeParam::element(0)));
    EXPECT_TRUE(this->printed({{"get", ZYL_LOG_ASSERT_FAILURE_s, "index out of bounds"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));  // it was the record's first use

    EXPECT_TRUE(TypeParam::loan_contiguous(&this->seq, this->elements.data(), 0, 0));
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 0), TypeParam::element(0)));
    EXPECT_TRUE(this->printed({{"get", ZYL_LOG_ASSERT_FAILURE_s, "index out of bounds"}}));
}

TYPED_TEST(Sequence, get_ignores_a_failed_check)
{
    this->fill(this->seq, 2, 2);
    this->seq._absolute_maximum = 1;
    EXPECT_TRUE(TypeParam::isSame(TypeParam::get(&this->seq, 1), TypeParam::element(2)));
    EXPECT_TRUE(this->printed({{"get", ZYL_LOG_ASSERT_FAILURE_s, "invariant: maximum > absolute_maximum"}}));
    this->seq._absolute_maximum = 2;
}

TYPED_TEST(Sequence, get_reference_refuses_a_bad_index)
{
    this->fill(this->seq, 3, 4);
    for (const DDS_Long index : {3, 4, 100, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(TypeParam::get_reference(&this->seq, index), nullptr) << index;
        EXPECT_TRUE(this->printed({{"get_reference", ZYL_LOG_ASSERT_FAILURE_s, "index out of bounds"}})) << index;
    }
    EXPECT_TRUE(this->holds(this->seq, 3, 4));
}

// -- Parameters and tokens. -------------------------------------------------------------------------------------------

TYPED_TEST(Sequence, the_pointer_flags_change_together_and_only_while_the_capacity_is_0)
{
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
    EXPECT_EQ(TypeParam::get_element_pointers_allocation(&this->seq), DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(TypeParam::set_element_pointers_allocation(&this->seq, DDS_BOOLEAN_FALSE));
    EXPECT_EQ(this->seq._elementAllocParams.allocate_pointers, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(this->seq._elementDeallocParams.delete_pointers, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(TypeParam::get_element_pointers_allocation(&this->seq), DDS_BOOLEAN_FALSE);
    EXPECT_TRUE(this->printedNothing());

    this->fill(this->seq, 1, 1);
    const auto before = this->seq;
    EXPECT_FALSE(TypeParam::set_element_pointers_allocation(&this->seq, DDS_BOOLEAN_TRUE));
    EXPECT_TRUE(this->printed(
        {{"set_element_pointers_allocation", ZYL_LOG_ASSERT_FAILURE_s,
          "Pointers allocation policy can be configured only when the maximum size of the sequence is 0"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));
}

TYPED_TEST(Sequence, the_pointer_flags_of_a_new_record_are_used_as_they_are)
{
    this->seq = this->garbage();
    EXPECT_EQ(TypeParam::get_element_pointers_allocation(&this->seq), 0xAB);
    EXPECT_FALSE(TypeParam::set_element_pointers_allocation(&this->seq, DDS_BOOLEAN_TRUE));
    this->log.clear();
    EXPECT_EQ(this->seq._sequence_init, static_cast<DDS_Long>(0xABABABABU));  // still not initialized
    EXPECT_TRUE(TypeParam::set_element_pointers_allocation(&this->other, DDS_BOOLEAN_TRUE));
    EXPECT_EQ(this->other._sequence_init, 0);
    EXPECT_EQ(this->other._elementAllocParams.allocate_pointers, DDS_BOOLEAN_TRUE);
}

TYPED_TEST(Sequence, allocation_parameters_can_be_set_only_while_the_capacity_is_0)
{
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
    const DDS_TypeAllocationParams_t params{0, 1, 1};
    EXPECT_TRUE(TypeParam::set_element_allocation_params(&this->seq, &params));
    DDS_TypeAllocationParams_t read{9, 9, 9};
    TypeParam::get_element_allocation_params(&this->seq, &read);
    EXPECT_EQ(read.allocate_pointers, 0);
    EXPECT_EQ(read.allocate_optional_members, 1);
    EXPECT_EQ(read.allocate_memory, 1);
    EXPECT_EQ(this->seq._elementDeallocParams.delete_pointers, DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(this->printedNothing());

    this->fill(this->seq, 1, 1);
    const auto before = this->seq;
    const DDS_TypeAllocationParams_t late{1, 0, 0};
    EXPECT_FALSE(TypeParam::set_element_allocation_params(&this->seq, &late));
    EXPECT_TRUE(this->printed(
        {{"set_element_allocation_params", ZYL_LOG_ASSERT_FAILURE_s,
          "Member allocation parameters can be configured only when the maximum size of the sequence is 0"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, before));

    EXPECT_TRUE(TypeParam::finalize(&this->seq));  // keeps the parameters
    EXPECT_EQ(this->seq._elementAllocParams.allocate_optional_members, 1);
    EXPECT_TRUE(TypeParam::set_element_allocation_params(&this->seq, &late));
    EXPECT_EQ(this->seq._elementAllocParams.allocate_memory, 0);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(Sequence, release_flags_can_be_set_at_any_time)
{
    this->fill(this->seq, 1, 1);
    const DDS_TypeDeallocationParams_t params{0, 1};
    EXPECT_TRUE(TypeParam::set_element_deallocation_params(&this->seq, &params));
    DDS_TypeDeallocationParams_t read{9, 9};
    TypeParam::get_element_deallocation_params(&this->seq, &read);
    EXPECT_EQ(read.delete_pointers, 0);
    EXPECT_EQ(read.delete_optional_members, 1);
    const DDS_TypeDeallocationParams_t opposite{1, 0};
    EXPECT_TRUE(TypeParam::set_element_deallocation_params(&this->seq, &opposite));
    EXPECT_EQ(this->seq._elementDeallocParams.delete_pointers, 1);
    EXPECT_EQ(this->seq._elementDeallocParams.delete_optional_members, 0);
    EXPECT_TRUE(this->printedNothing());
    EXPECT_TRUE(this->holds(this->seq, 1, 1));
}

TYPED_TEST(Sequence, null_parameters_are_refused_by_name)
{
    EXPECT_TRUE(TypeParam::initialize(&this->seq));
    EXPECT_FALSE(TypeParam::set_element_allocation_params(&this->seq, nullptr));
    EXPECT_TRUE(this->printed({{"set_element_allocation_params", DDS_LOG_BAD_PARAMETER_s, "params"}}));
    TypeParam::get_element_allocation_params(&this->seq, nullptr);
    EXPECT_TRUE(this->printed({{"get_element_allocation_params", DDS_LOG_BAD_PARAMETER_s, "params"}}));
    EXPECT_FALSE(TypeParam::set_element_deallocation_params(&this->seq, nullptr));
    EXPECT_TRUE(this->printed({{"set_element_deallocation_params", DDS_LOG_BAD_PARAMETER_s, "params"}}));
    TypeParam::get_element_deallocation_params(&this->seq, nullptr);
    EXPECT_TRUE(this->printed({{"get_element_deallocation_params", DDS_LOG_BAD_PARAMETER_s, "params"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->initialState()));
}

TYPED_TEST(Sequence, read_tokens_are_kept_and_given_back)
{
    int first = 0;
    int second = 0;
    TypeParam::set_read_tokenI(&this->seq, &first, &second);
    void *token1 = nullptr;
    void *token2 = nullptr;
    TypeParam::get_read_tokenI(&this->seq, &token1, &token2);
    EXPECT_EQ(token1, &first);
    EXPECT_EQ(token2, &second);
    EXPECT_EQ(this->seq._read_token1, &first);
    EXPECT_EQ(this->seq._read_token2, &second);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(Sequence, get_read_token_needs_both_places_and_writes_neither_otherwise)
{
    int mark = 0;
    TypeParam::set_read_tokenI(&this->seq, &mark, &mark);
    void *token = this;
    TypeParam::get_read_tokenI(&this->seq, &token, nullptr);
    EXPECT_TRUE(this->printed({{"get_read_tokenI", DDS_LOG_GET_FAILURE_s, "token (NULL)"}}));
    TypeParam::get_read_tokenI(&this->seq, nullptr, &token);
    EXPECT_TRUE(this->printed({{"get_read_tokenI", DDS_LOG_GET_FAILURE_s, "token (NULL)"}}));
    EXPECT_EQ(token, this);
}

// -- The log. ---------------------------------------------------------------------------------------------------------

TYPED_TEST(Sequence, nothing_is_printed_while_the_level_or_the_submodule_is_shut)
{
    DDSLog_g_instrumentationMask = ~ZYL_LOG_LEVEL_WARNING;
    EXPECT_FALSE(TypeParam::initialize(nullptr));
    EXPECT_TRUE(this->printedNothing());
    DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_WARNING;
    DDSLog_g_submoduleMask = ~DDS_SUBMODULE_MASK_SEQUENCE;
    EXPECT_FALSE(TypeParam::initialize(nullptr));
    EXPECT_TRUE(this->printedNothing());
    DDSLog_g_submoduleMask = DDS_SUBMODULE_MASK_SEQUENCE;
    EXPECT_FALSE(TypeParam::initialize(nullptr));
    EXPECT_TRUE(this->printed({{"initialize", DDS_LOG_BAD_PARAMETER_s, "self"}}));
}
