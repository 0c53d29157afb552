/// @file
/// The registry: order, look-up, the dispatch cursor and the internal walk. The public query has its own file.
// Replaces: DDS_Condition_get_handler
#include "AwsQueueFixture.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char *const selfIsNull = "\"self == ((void *)0)\"";
const char *const recordIsNull = "\"conditionInfo == ((void *)0)\"";

/// What an order is asked: left, right and user data, as numbers.
struct Comparison {
    int left;
    int right;
    const void *userData;
    bool operator==(const Comparison &) const = default;
};
std::vector<Comparison> comparisons;

int ascending(const void *left, const void *right, const void *userData)
{
    const int leftValue = *static_cast<const int *>(left);
    const int rightValue = *static_cast<const int *>(right);
    comparisons.push_back({leftValue, rightValue, userData});
    return leftValue < rightValue ? -1 : leftValue - rightValue;
}

int alwaysSmaller(const void *, const void *, const void *)
{
    return -1;
}

class Registry : public AwsQueueTest {
protected:
    void SetUp() override
    {
        comparisons.clear();
        ZYLLog_g_preconditionDetected = 0;
        ZYLLog_g_detectPrecondition = 1;
    }
    void TearDown() override
    {
        AwsQueueTest::TearDown();
        ZYLLog_g_preconditionDetected = 0;
        ZYLLog_g_detectPrecondition = 0;
    }

    void createOrdered(VESKOrderedDataTypeCompareWithUserDataFunction compare, void *userData)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
        aws = DDS_AsyncWaitSet_newI(DDS_DomainParticipantFactory_get_instance(), &property, nullptr,
                                    &DDS_THREAD_FACTORY_USE_DEFAULT, compare, userData);
        adopt(aws);
    }
    /// A condition whose handler data is that number.
    DDS_Condition *conditionOf(int &key)
    {
        DDS_Condition *const condition = newCondition();
        const DDS_ConditionHandler handler = {&key, nullptr};
        EXPECT_EQ(DDS_Condition_set_handler(condition, &handler), DDS_RETCODE_OK);
        return condition;
    }
    DDS_Condition *attach(DDS_Condition *condition)
    {
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition), DDS_RETCODE_OK);
        return condition;
    }
    DDS_Condition *attachNew() { return attach(newCondition()); }
    DDS_AWSConditionInfo *recordOf(DDS_Condition *condition)
    {
        return DDS_AsyncWaitSet_lookUpConditionInfo(aws, condition);
    }
    /// Exactly one message, a reported precondition.
    void expectPrecondition(const char *text)
    {
        EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, text);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(ZYLLog_g_preconditionDetected, 1);
        ZYLLog_g_preconditionDetected = 0;
        log.clear();
    }
};

TEST_F(Registry, without_an_order_conditions_stand_in_attach_order)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    DDS_Condition *const c = attachNew();
    EXPECT_THAT(registered(), ElementsAre(a, b, c));
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, b), DDS_RETCODE_OK);
    attach(b);
    EXPECT_THAT(registered(), ElementsAre(a, c, b));
    EXPECT_EQ(aws->_conditionInfoList._size, 3);
    EXPECT_NO_LOG(log);
}

TEST_F(Registry, an_order_over_handler_data_decides_and_equals_keep_attach_order)
{
    int keys[] = {5, 1, 3, 3};
    createOrdered(ascending, nullptr);
    DDS_Condition *const five = attach(conditionOf(keys[0]));
    DDS_Condition *const one = attach(conditionOf(keys[1]));
    DDS_Condition *const three = attach(conditionOf(keys[2]));
    DDS_Condition *const secondThree = attach(conditionOf(keys[3]));
    EXPECT_THAT(registered(), ElementsAre(one, three, secondThree, five));
}

TEST_F(Registry, the_order_is_asked_with_the_new_data_left_until_it_answers_negatively)
{
    int keys[] = {2, 4, 6, 3};
    int userData = 0;
    createOrdered(ascending, &userData);
    for (int i = 0; i < 3; ++i) attach(conditionOf(keys[i]));
    comparisons.clear();
    attach(conditionOf(keys[3]));
    EXPECT_THAT(comparisons, ElementsAre(Comparison{3, 2, &userData}, Comparison{3, 4, &userData}));
}

TEST_F(Registry, insertion_reads_both_handlers_at_every_step)
{
    int keys[] = {2, 4, 6};
    createOrdered(ascending, nullptr);
    for (int i = 0; i < 2; ++i) attach(conditionOf(keys[i]));
    DDS_Condition *const condition = conditionOf(keys[2]);
    doubles.clear();
    attach(condition);
    EXPECT_EQ(doubles.count("DDS_Condition_get_handler"), 4);
}

TEST_F(Registry, an_order_need_not_be_consistent)
{
    createOrdered(alwaysSmaller, nullptr);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    DDS_Condition *const c = attachNew();
    EXPECT_THAT(registered(), ElementsAre(c, b, a));
}

TEST_F(Registry, look_up_finds_a_condition_by_its_identity)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    ASSERT_NE(recordOf(b), nullptr);
    EXPECT_EQ(recordOf(b)->_condition, b);
    EXPECT_NE(recordOf(a), recordOf(b));
    EXPECT_EQ(recordOf(newCondition()), nullptr);
    EXPECT_EQ(recordOf(reinterpret_cast<DDS_Condition *>(&log)), nullptr) << "nothing of the condition may be read";
    EXPECT_NO_LOG(log);
}

TEST_F(Registry, look_up_reports_null_arguments)
{
    create(1);
    DDS_Condition *const a = attachNew();
    EXPECT_EQ(DDS_AsyncWaitSet_lookUpConditionInfo(nullptr, a), nullptr);
    expectPrecondition(selfIsNull);
    EXPECT_EQ(DDS_AsyncWaitSet_lookUpConditionInfo(aws, nullptr), nullptr);
    expectPrecondition("\"condition == ((void *)0)\"");
}

TEST_F(Registry, a_condition_is_known_from_its_attach_to_its_detach)
{
    create(1);
    DDS_Condition *const a = newCondition();
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, a), 0);
    attach(a);
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, a), 1);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, a), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, a), 0);
    EXPECT_NO_LOG(log);

    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(nullptr, a), 0);
    expectPrecondition(selfIsNull);
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, nullptr), 0);
    expectPrecondition("\"condition == ((void *)0)\"");
}

TEST_F(Registry, a_fresh_record_is_unlocked_even_in_a_used_buffer)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_AWSConditionInfo *const record = recordOf(a);
    record->isLocked = 1;
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, a), DDS_RETCODE_OK);
    DDS_Condition *const b = attachNew();
    ASSERT_EQ(recordOf(b), record) << "the buffer was not used again; the test shows nothing";
    EXPECT_EQ(recordOf(b)->isLocked, 0);
}

TEST_F(Registry, removing_the_record_under_the_cursor_moves_the_cursor_on)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    DDS_Condition *const c = attachNew();
    aws->_nextConditionInfo = recordOf(b);
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, a), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_nextConditionInfo, recordOf(b)) << "another record went";
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, b), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_nextConditionInfo, recordOf(c));
    EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, c), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_nextConditionInfo, nullptr);
    EXPECT_THAT(registered(), IsEmpty());
}

TEST_F(Registry, removal_does_not_give_the_record_back)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_AWSConditionInfo *const record = recordOf(a);
    DDS_AsyncWaitSet_removeConditionInfo(aws, record);
    EXPECT_EQ(recordOf(a), nullptr);
    EXPECT_EQ(record->_condition, a);
    DDS_AsyncWaitSet_addConditionInfo(aws, record);
    EXPECT_EQ(recordOf(a), record);
    EXPECT_NO_LOG(log);
}

TEST_F(Registry, inserting_a_listed_record_changes_nothing)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    DDS_AsyncWaitSet_addConditionInfo(aws, recordOf(a));
    expectPrecondition("\"VESKInlineList_isNodeInList(&self->_conditionInfoList, handlerInfoAsNode)\"");
    EXPECT_THAT(registered(), ElementsAre(a, b));
    EXPECT_EQ(aws->_conditionInfoList._size, 2);
}

TEST_F(Registry, removing_an_unlisted_record_changes_nothing)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_AWSConditionInfo stranger = {};
    stranger._condition = a;
    aws->_nextConditionInfo = &stranger;
    DDS_AsyncWaitSet_removeConditionInfo(aws, &stranger);
    expectPrecondition("\"!VESKInlineList_isNodeInList( &self->_conditionInfoList, &conditionInfo->_node)\"");
    EXPECT_THAT(registered(), ElementsAre(a));
    EXPECT_EQ(aws->_nextConditionInfo, &stranger);
    aws->_nextConditionInfo = nullptr;
}

TEST_F(Registry, insertion_and_removal_report_null_arguments)
{
    create(1);
    DDS_AWSConditionInfo record = {};
    DDS_AsyncWaitSet_addConditionInfo(nullptr, &record);
    expectPrecondition(selfIsNull);
    DDS_AsyncWaitSet_addConditionInfo(aws, nullptr);
    expectPrecondition(recordIsNull);
    DDS_AsyncWaitSet_removeConditionInfo(nullptr, &record);
    expectPrecondition(selfIsNull);
    DDS_AsyncWaitSet_removeConditionInfo(aws, nullptr);
    expectPrecondition(recordIsNull);
    EXPECT_THAT(registered(), IsEmpty());
}

TEST_F(Registry, the_internal_walk_yields_registry_order_and_then_null_for_ever)
{
    create(1);
    DDS_Condition *const a = attachNew();
    DDS_Condition *const b = attachNew();
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), nullptr) << "not started";
    for (int round = 0; round < 2; ++round) {
        DDS_AsyncWaitSet_start_condition_iteratorI(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), a);
        EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), b);
        EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), nullptr);
        EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), nullptr);
    }
    DDS_AsyncWaitSet_start_condition_iteratorI(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), a);
    DDS_AsyncWaitSet_start_condition_iteratorI(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), a) << "a start begins anew";
    EXPECT_EQ(doubles.count("enter"), 0) << "no lock is taken";
    EXPECT_NO_LOG(log);
}

TEST_F(Registry, the_internal_walk_of_an_empty_registry_ends_at_once)
{
    create(1);
    DDS_AsyncWaitSet_start_condition_iteratorI(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(aws), nullptr);
}

TEST_F(Registry, removal_leaves_the_internal_walk_alone)
{
    create(1);
    DDS_Condition *const a = attachNew();
    attachNew();
    DDS_AsyncWaitSet_start_condition_iteratorI(aws);
    DDS_AWSConditionInfo *const record = recordOf(a);
    DDS_AsyncWaitSet_removeConditionInfo(aws, record);
    EXPECT_EQ(aws->_conditionIterator, record);
    DDS_AsyncWaitSet_addConditionInfo(aws, record);
}

TEST_F(Registry, the_internal_walk_reports_a_null_object)
{
    DDS_AsyncWaitSet_start_condition_iteratorI(nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1U);
    log.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_get_next_conditionI(nullptr), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(ZYLLog_g_preconditionDetected, 0);
}

}  // namespace
