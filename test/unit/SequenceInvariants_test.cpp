/// @file
/// The sequence's invariant check: what it finds, in which order, under whose name, and what an operation does then.
/// Below that, the messages of states that a checked record cannot be in; they need a check that lets everything pass.
#include <cstdint>
#include <iterator>

#include "SequenceFixture.hpp"
#include "dds_c/generic/dds_c_sequence_TSeq.hpp"

/// A record that breaks the invariants from number `way` on; its buffer is the caller's and is never freed.
template <class Api>
class BrokenSequence : public SequenceFixture<Api> {
protected:
    static constexpr int wayCount = 6;
    static constexpr const char *messages[wayCount] = {
        "invariant: uninitialized",
        "invariant: both buffers are non-NULL",
        "invariant: length > maximum",
        "invariant: sequence owns memory but has discontiguous buffer",
        "invariant: maximum > 0 but buffer is NULL",
        "invariant: maximum > absolute_maximum",
    };

    typename Api::Seq broken(int way)
    {
        auto record = this->initialState();
        record._contiguous_buffer = this->elements.data();
        record._maximum = 3;
        record._length = 2;
        if (way == 0) record._sequence_init = 1;
        if (way == 1 || way == 3) record._discontiguous_buffer = this->pointers.data();
        if (way == 2) record._length = 4;
        if (way == 3 || way == 4) record._contiguous_buffer = nullptr;
        if (way == 5) record._absolute_maximum = 2;
        return record;
    }
    void TearDown() override
    {
        this->seq = this->initialState();  // it never owned its buffer
        SequenceFixture<Api>::TearDown();
    }
};
TYPED_TEST_SUITE(BrokenSequence, SequenceApis);

TYPED_TEST(BrokenSequence, the_check_reports_each_broken_invariant_under_the_given_name)
{
    for (int way = 0; way < this->wayCount; ++way) {
        this->seq = this->broken(way);
        EXPECT_EQ(TypeParam::check_invariantsI(&this->seq, "the_caller"), 0);
        ASSERT_EQ(this->log.entries().size(), 1U);
        EXPECT_EQ(this->log.entries().at(0).function, "the_caller");
        EXPECT_LOG(this->log, 2, ZYL_LOG_ASSERT_FAILURE_s, this->messages[way]);
        EXPECT_TRUE(this->isUnchanged(this->seq, this->broken(way)));
        this->log.clear();
    }
}

TYPED_TEST(BrokenSequence, the_check_passes_a_good_record_silently)
{
    this->seq = this->broken(-1);
    EXPECT_EQ(TypeParam::check_invariantsI(&this->seq, "the_caller"), 1);
    this->seq._length = 3;  // full
    this->seq._absolute_maximum = 3;
    EXPECT_EQ(TypeParam::check_invariantsI(&this->seq, "the_caller"), 1);
    this->seq = this->initialState();
    EXPECT_EQ(TypeParam::check_invariantsI(&this->seq, "the_caller"), 1);
    this->seq._owned = DDS_BOOLEAN_FALSE;  // a loan of nothing
    EXPECT_EQ(TypeParam::check_invariantsI(&this->seq, "the_caller"), 1);
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(BrokenSequence, the_first_broken_invariant_is_the_one_that_is_reported)
{
    // All broken; then one is repaired after the other.
    auto &record = this->seq;
    record._sequence_init = 1;
    record._contiguous_buffer = this->elements.data();
    record._discontiguous_buffer = this->pointers.data();
    record._maximum = 3;
    record._length = 4;
    record._owned = DDS_BOOLEAN_TRUE;
    record._absolute_maximum = 2;
    const auto reported = [&] {
        TypeParam::check_invariantsI(&record, "the_caller");
        const auto entries = this->log.entries();
        this->log.clear();
        return entries.size() == 1 ? entries[0].text.substr(entries[0].text.find("invariant")) : "not one message";
    };
    EXPECT_EQ(reported(), this->messages[0]);
    record._sequence_init = DDS_SEQUENCE_MAGIC_NUMBER;
    EXPECT_EQ(reported(), this->messages[1]);
    record._contiguous_buffer = nullptr;
    EXPECT_EQ(reported(), this->messages[2]);
    record._length = 1;
    EXPECT_EQ(reported(), this->messages[3]);
    record._discontiguous_buffer = nullptr;
    EXPECT_EQ(reported(), this->messages[4]);
    record._contiguous_buffer = this->elements.data();
    EXPECT_EQ(reported(), this->messages[5]);
}

TYPED_TEST(BrokenSequence, a_check_without_a_name_reports_under_its_own)
{
    this->seq = this->broken(5);
    EXPECT_EQ(TypeParam::check_invariantsI(&this->seq, nullptr), 0);
    EXPECT_TRUE(
        this->printed({{"check_invariantsI", ZYL_LOG_ASSERT_FAILURE_s, "invariant: maximum > absolute_maximum"}}));
}

/// An operation that does nothing with a record that fails the check, and yields its failure value.
template <class Api>
struct CheckedOperation {
    const char *name;
    bool (*hasFailed)(typename Api::Seq *);
};

template <class Api>
constexpr CheckedOperation<Api> checkedOperations[] = {
    {"get_maximum", [](auto *self) { return Api::get_maximum(self) == 0; }},
    {"set_maximum", [](auto *self) { return !Api::set_maximum(self, 9); }},
    {"set_maximum", [](auto *self) { return !Api::finalize(self); }},
    {"set_absolute_maximum", [](auto *self) { return !Api::set_absolute_maximum(self, 9); }},
    {"get_length", [](auto *self) { return Api::get_length(self) == 0; }},
    {"set_length", [](auto *self) { return !Api::set_length(self, 1); }},
    {"get_reference", [](auto *self) { return Api::get_reference(self, 0) == nullptr; }},
    {"has_ownership", [](auto *self) { return !Api::has_ownership(self); }},
    {"set_read_tokenI",
     [](auto *self) {
         Api::set_read_tokenI(self, self, self);
         return self->_read_token1 == nullptr && self->_read_token2 == nullptr;
     }},
    {"get_read_tokenI",
     [](auto *self) {
         void *token = self;
         Api::get_read_tokenI(self, &token, &token);
         return token == self;
     }},
    {"copy",
     [](auto *self) {
         const auto empty = typename Api::Seq{};
         return Api::copy(self, &empty) == nullptr;
     }},
    {"copy_no_alloc",
     [](auto *self) {
         const auto empty = typename Api::Seq{};
         return !Api::copy_no_alloc(self, &empty);
     }},
    {"loan_contiguous", [](auto *self) { return !Api::loan_contiguous(self, nullptr, 0, 0); }},
    {"loan_discontiguous", [](auto *self) { return !Api::loan_discontiguous(self, nullptr, 0, 0); }},
    {"unloan", [](auto *self) { return !Api::unloan(self); }},
    {"get_contiguous_buffer", [](auto *self) { return Api::get_contiguous_buffer(self) == nullptr; }},
    {"get_contiguous_bufferI", [](auto *self) { return Api::get_contiguous_bufferI(self) == nullptr; }},
    {"get_discontiguous_buffer", [](auto *self) { return Api::get_discontiguous_buffer(self) == nullptr; }},
    {"get_discontiguous_bufferI", [](auto *self) { return Api::get_discontiguous_bufferI(self) == nullptr; }},
};

TYPED_TEST(BrokenSequence, every_checked_operation_refuses_a_broken_record_under_its_own_name)
{
    for (const auto &operation : checkedOperations<TypeParam>) {
        for (int way = 1; way < this->wayCount; ++way) {
            this->seq = this->broken(way);
            EXPECT_TRUE(operation.hasFailed(&this->seq)) << operation.name << " " << way;
            EXPECT_TRUE(this->printed({{operation.name, ZYL_LOG_ASSERT_FAILURE_s, this->messages[way]}}));
            EXPECT_TRUE(this->isUnchanged(this->seq, this->broken(way))) << operation.name << " " << way;
        }
    }
}

TYPED_TEST(BrokenSequence, ensure_length_reports_what_its_steps_report)
{
    this->seq = this->broken(5);
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 3, 9));
    EXPECT_TRUE(this->printed({{"get_maximum", ZYL_LOG_ASSERT_FAILURE_s, this->messages[5]},
                               {"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, this->messages[5]},
                               {"ensure_length", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 0, 9}}));
    EXPECT_FALSE(TypeParam::ensure_length(&this->seq, 0, 9));
    EXPECT_TRUE(this->printed({{"get_maximum", ZYL_LOG_ASSERT_FAILURE_s, this->messages[5]},
                               {"set_length", ZYL_LOG_ASSERT_FAILURE_s, this->messages[5]},
                               {"ensure_length", DDS_LOG_SET_FAILURE_s, "length"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->broken(5)));
}

TYPED_TEST(BrokenSequence, the_copy_without_argument_checks_fails_when_it_cannot_set_the_length)
{
    this->seq = this->broken(5);
    this->fill(this->other, 2, 2);
    EXPECT_FALSE(TypeParam::copy_no_allocI(&this->seq, &this->other));
    EXPECT_TRUE(this->printed({{"set_length", ZYL_LOG_ASSERT_FAILURE_s, this->messages[5]},
                               {"copy_no_allocI", ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 2, 2}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->broken(5)));
}

TYPED_TEST(BrokenSequence, a_source_that_has_lost_its_buffers_fails_the_copy_after_the_length_is_set)
{
    this->fill(this->other, 1, 3);
    auto source = this->initialState();
    source._length = 2;
    source._maximum = 2;
    EXPECT_FALSE(TypeParam::copy_no_alloc(&this->other, &source));
    EXPECT_TRUE(this->printed(
        {{"copy_no_allocI", ZYL_LOG_ANY_FAILURE_s, "Unexpected NULL discontiguous buffer in the sequence"}}));
    EXPECT_EQ(this->other._length, 2U);
    EXPECT_TRUE(TypeParam::isSame(this->other._contiguous_buffer[0], TypeParam::element(1)));

    // The same for a destination that is an array of pointers; `copy` asks the source for its length and is told.
    EXPECT_TRUE(TypeParam::loan_discontiguous(&this->seq, this->pointers.data(), 0, 4));
    EXPECT_EQ(TypeParam::copy(&this->seq, &source), nullptr);
    EXPECT_TRUE(this->printed(
        {{"get_length", ZYL_LOG_ASSERT_FAILURE_s, this->messages[4]},
         {"copy_no_allocI", ZYL_LOG_ANY_FAILURE_s, "Unexpected NULL discontiguous buffer in the sequence"}}));
    EXPECT_EQ(this->seq._length, 2U);
}

// -- States behind the check. -----------------------------------------------------------------------------------------

/// The operations of an instance, except that the check passes everything.
template <class Api>
struct Unchecked : Api {
    static int check_invariantsI(typename Api::Seq *, const char *) { return 1; }
    static DDS_Boolean set_length(typename Api::Seq *self, DDS_UnsignedLong length)
    {
        self->_length = length;
        return DDS_BOOLEAN_TRUE;
    }
};

/// The operations of an instance, except that a loan cannot be given back.
template <class Api>
struct WithoutUnloan : Api {
    static DDS_Boolean unloan(typename Api::Seq *) { return DDS_BOOLEAN_FALSE; }
};

/// The operations of an instance, except that the check fails from the given call on.
template <class Api>
struct FailingLate : Api {
    inline static int callsToPass = 0;
    static int check_invariantsI(typename Api::Seq *, const char *) { return callsToPass-- > 0 ? 1 : 0; }
};

template <class Api>
std::string operationName(const char *operation)
{
    return std::string(Api::name) + "_" + operation;
}

TYPED_TEST(BrokenSequence, an_owned_sequence_with_an_array_of_pointers_is_not_resized)
{
    using Container = DDS_SequenceContainer<typename TypeParam::Seq, typename TypeParam::Element, Unchecked<TypeParam>>;
    const std::string name = operationName<TypeParam>("set_maximum");
    this->seq = this->broken(3);
    EXPECT_FALSE(Container::set_maximum(&this->seq, 9, name.c_str()));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "discontiguous buffer is not NULL!"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->broken(3)));
}

TYPED_TEST(BrokenSequence, elements_without_a_buffer_are_not_copied_and_the_new_buffer_is_freed)
{
    using Container = DDS_SequenceContainer<typename TypeParam::Seq, typename TypeParam::Element, Unchecked<TypeParam>>;
    const std::string name = operationName<TypeParam>("set_maximum");
    this->seq = this->broken(4);
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    EXPECT_FALSE(Container::set_maximum(&this->seq, 9, name.c_str()));
    EXPECT_TRUE(this->printed({{"set_maximum", ZYL_LOG_ASSERT_FAILURE_s, "inconsistent buffer state"}}));
    EXPECT_TRUE(this->isUnchanged(this->seq, this->broken(4)));
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
}

TYPED_TEST(BrokenSequence, elements_of_a_record_without_a_buffer_have_no_address_and_are_zero)
{
    using Container = DDS_SequenceContainer<typename TypeParam::Seq, typename TypeParam::Element, Unchecked<TypeParam>>;
    this->seq = this->broken(4);
    EXPECT_EQ(Container::get_reference(&this->seq, 0, "get_reference"), nullptr);
    EXPECT_TRUE(TypeParam::isSame(Container::get(&this->seq, 0, "get"), TypeParam::element(0)));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(BrokenSequence, a_destination_that_has_lost_its_buffers_fails_the_copy)
{
    using Exchange = DDS_SequenceExchange<typename TypeParam::Seq, typename TypeParam::Element, Unchecked<TypeParam>>;
    const std::string name = operationName<TypeParam>("copy_no_allocI");
    this->fill(this->other, 1, 1);
    this->seq = this->broken(4);
    EXPECT_FALSE(Exchange::copy_no_allocI(&this->seq, &this->other, name.c_str()));
    EXPECT_TRUE(this->printed(
        {{"copy_no_allocI", ZYL_LOG_ANY_FAILURE_s, "Unexpected NULL discontiguous buffer in the sequence"}}));
    EXPECT_EQ(this->seq._length, 1U);

    // Nothing to copy needs no buffer.
    EXPECT_TRUE(TypeParam::set_length(&this->other, 0));
    EXPECT_TRUE(Exchange::copy_no_allocI(&this->seq, &this->other, name.c_str()));
    EXPECT_TRUE(this->printedNothing());
}

TYPED_TEST(BrokenSequence, a_conversion_that_cannot_give_its_loan_back_says_so_and_succeeds)
{
    using Exchange =
        DDS_SequenceExchange<typename TypeParam::Seq, typename TypeParam::Element, WithoutUnloan<TypeParam>>;
    const std::string from = operationName<TypeParam>("from_array");
    EXPECT_TRUE(Exchange::from_array(&this->other, this->elements.data(), 3, from.c_str()));
    EXPECT_TRUE(this->printed({{"from_array", ZYL_LOG_ANY_FAILURE_s, "unloan contiguous array"}}));
    EXPECT_TRUE(this->holds(this->other, 3, 3));

    typename TypeParam::Element array[3] = {};
    const std::string to = operationName<TypeParam>("to_array");
    EXPECT_TRUE(Exchange::to_array(&this->other, array, 3, to.c_str()));
    EXPECT_TRUE(this->printed({{"to_array", DDS_LOG_SET_FAILURE_s, "unloan contiguous array"}}));
    EXPECT_TRUE(TypeParam::isSame(array[2], TypeParam::element(3)));
}

TYPED_TEST(BrokenSequence, the_last_check_of_an_operation_decides_its_result)
{
    using Late = FailingLate<TypeParam>;
    using Container = DDS_SequenceContainer<typename TypeParam::Seq, typename TypeParam::Element, Late>;
    using Exchange = DDS_SequenceExchange<typename TypeParam::Seq, typename TypeParam::Element, Late>;
    this->fill(this->other, 2, 4);

    Late::callsToPass = 1;
    EXPECT_FALSE(Container::set_length(&this->other, 1, "set_length"));
    EXPECT_EQ(this->other._length, 1U);
    Late::callsToPass = 1;
    EXPECT_FALSE(Container::set_maximum(&this->other, 3, "set_maximum"));
    EXPECT_EQ(this->other._maximum, 3U);
    Late::callsToPass = 1;
    EXPECT_EQ(Exchange::copy(&this->other, &this->other, "copy"), nullptr);
    Late::callsToPass = 0;
    EXPECT_FALSE(Exchange::copy_no_allocI(&this->other, &this->other, "copy_no_allocI"));
    Late::callsToPass = 1;
    EXPECT_FALSE(Exchange::loan_contiguous(&this->seq, this->elements.data(), 1, 1, "loan_contiguous"));
    Late::callsToPass = 1;
    EXPECT_FALSE(Exchange::unloan(&this->seq, "unloan"));
    EXPECT_EQ(this->seq._owned, DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(this->printedNothing());  // the stand-in prints nothing
}
