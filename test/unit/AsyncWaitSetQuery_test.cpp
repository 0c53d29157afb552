/// @file
/// The public query for the attached conditions, with every service below it failing.
// Replaces: DDS_WaitSet_start_conditions_iteratorI DDS_WaitSet_end_conditions_iteratorI
// Replaces: DDS_ConditionSeq_set_maximum DDS_ConditionSeq_set_length DDS_ConditionSeq_get_reference
#include "AwsQueueFixture.hpp"

namespace {

using testing::UnorderedElementsAre;

class RegistryQuery : public AwsQueueTest {
protected:
    void TearDown() override
    {
        DDS_ConditionSeq_finalize(&seq);
        AwsQueueTest::TearDown();
    }

    DDS_Condition *attachNew()
    {
        DDS_Condition *const condition = newCondition();
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition), DDS_RETCODE_OK);
        return condition;
    }
    std::vector<DDS_Condition *> content() const
    {
        std::vector<DDS_Condition *> result;
        for (DDS_UnsignedLong i = 0; i < seq._length; ++i) result.push_back(seq._contiguous_buffer[i]);
        return result;
    }

    DDS_ConditionSeq seq = DDS_SEQUENCE_INITIALIZER;
};

TEST_F(RegistryQuery, the_query_of_a_wait_set_without_conditions_is_empty)
{
    create(1);
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &seq), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&seq), 0);
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&seq), 1) << "room for the doorbell, which is skipped";
    EXPECT_EQ(doubles.count("DDS_WaitSet_start_conditions_iteratorI(0)"), 1);
    EXPECT_EQ(doubles.count("DDS_WaitSet_end_conditions_iteratorI"), 1);
    EXPECT_NO_LOG(log);
}

TEST_F(RegistryQuery, the_query_yields_all_conditions_but_the_doorbell)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    DDS_Condition *const c = attachNew();
    DDS_ConditionSeq_ensure_length(&seq, 7, 7);
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &seq), DDS_RETCODE_OK);
    EXPECT_THAT(content(), UnorderedElementsAre(a, b, c));
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&seq), 4);
    EXPECT_EQ(doubles.count("DDS_WaitSet_end_conditions_iteratorI"), 1);
}

TEST_F(RegistryQuery, the_query_reports_null_arguments)
{
    create(1);
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(nullptr, &seq), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "attached_conditions");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(doubles.count("DDS_WaitSet_start_conditions_iteratorI(0)"), 0);
}

TEST_F(RegistryQuery, the_query_fails_for_a_sequence_that_cannot_take_the_doorbell_too)
{
    create(1);
    attachNew();
    DDS_Condition_ptr buffer[1] = {};
    ASSERT_NE(DDS_ConditionSeq_loan_contiguous(&seq, buffer, 1, 1), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &seq), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "set maximum in attach_conditions sequence");
    EXPECT_EQ(DDS_ConditionSeq_get_length(&seq), 0) << "the length was set to 0 first";
    EXPECT_EQ(doubles.count("DDS_WaitSet_end_conditions_iteratorI"), 1);
    EXPECT_NE(DDS_ConditionSeq_unloan(&seq), DDS_BOOLEAN_FALSE);
}

TEST_F(RegistryQuery, the_query_keeps_the_length_it_reached_when_the_sequence_cannot_grow)
{
    create(1);
    attachNew();
    attachNew();
    // After the one that empties it and the one for the first condition.
    doubles.on("DDS_ConditionSeq_set_length").fail(3);
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &seq), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "ensure length in attach_conditions sequence");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&seq), 1);
    EXPECT_EQ(doubles.count("DDS_WaitSet_end_conditions_iteratorI"), 1);
}

TEST_F(RegistryQuery, the_query_reports_an_element_that_is_missing)
{
    create(1);
    attachNew();
    doubles.on("DDS_ConditionSeq_get_reference").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &seq), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"currentCondition == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_WaitSet_end_conditions_iteratorI"), 1);
}

TEST_F(RegistryQuery, the_query_is_empty_when_the_walk_has_nothing)
{
    create(1);
    attachNew();
    for (const int count : {0, -2}) {
        doubles.on("DDS_WaitSet_start_conditions_iteratorI").instead(1, [count](DDS_WaitSet *self, int reserved) {
            Doubles::real<int(DDS_WaitSet *, int)>("DDS_WaitSet_start_conditions_iteratorI")(self, reserved);
            return count;
        });
        DDS_ConditionSeq_ensure_length(&seq, 2, 2);
        doubles.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_get_conditions(aws, &seq), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_ConditionSeq_get_length(&seq), 0);
        EXPECT_EQ(DDS_ConditionSeq_get_maximum(&seq), 2) << "untouched";
        EXPECT_EQ(doubles.count("DDS_WaitSet_end_conditions_iteratorI"), 1);
    }
    EXPECT_NO_LOG(log);
}

}  // namespace
