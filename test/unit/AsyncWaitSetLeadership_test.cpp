/// @file
/// Leadership: taking it, giving it up, and what is said when either fails.
#include "DispatchFixture.hpp"

namespace {

using testing::IsEmpty;

class Leadership : public DispatchFixture {};

TEST_F(Leadership, a_single_thread_is_leader_without_any_area_or_trace)
{
    create(1, 0);
    const LogCapture log(0xff);
    const PoolThreadGuise guise(aws.get());
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 1);
    EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 1);
    EXPECT_THAT(doubles.calls(), IsEmpty());
    EXPECT_NO_LOG(log);
}

TEST_F(Leadership, a_leader_holds_the_synchronizer_and_traces_that_it_leads)
{
    create(2, 0);
    const LogCapture log(0xff);
    const PoolThreadGuise guise(aws.get());
    EXPECT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 1);
    EXPECT_EQ(depth(), 1);
    ASSERT_EQ(log.entries().size(), 2u);
    EXPECT_EQ(log.entries()[0].text, "[AWS|first]: ");
    EXPECT_EQ(log.entries()[1].text, "became new leader\n");
    EXPECT_TRACE(log, ZYL_LOG_LEVEL_TRACE, "became new leader\n");

    EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 1);
    EXPECT_EQ(depth(), 0);
    ASSERT_EQ(log.entries().size(), 4u);
    EXPECT_EQ(log.entries()[2].text, "[AWS|first]: ");
    EXPECT_EQ(log.entries()[3].text, "promoting new leader\n");
    EXPECT_TRACE(log, ZYL_LOG_LEVEL_TRACE, "promoting new leader\n");
}

TEST_F(Leadership, a_leadership_that_cannot_be_taken_is_reported_and_not_traced)
{
    create(2, 0);
    const LogCapture log(0xff);
    const PoolThreadGuise guise(aws.get());
    synchronizer(enter).failFrom(1);
    EXPECT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_FAILED_TO_LOCK_TEMPLATE, "Pool synchronizer EA.");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(log.entries()[0].function, "DDS_AsyncWaitSet_becomeNewLeader");
    EXPECT_EQ(depth(), 0);
}

TEST_F(Leadership, a_leadership_that_cannot_be_given_up_is_reported_after_its_trace)
{
    create(2, 0);
    const PoolThreadGuise guise(aws.get());
    ASSERT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 1);
    const LogCapture log(0xff);
    failToLeave();
    EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_FAILED_TO_UNLOCK_TEMPLATE, "Pool synchronizer EA.");
    ASSERT_EQ(log.entries().size(), 3u);
    EXPECT_EQ(log.entries()[1].text, "promoting new leader\n");
    EXPECT_EQ(log.entries()[2].function, "DDS_AsyncWaitSet_promoteNewLeader");

    doubles.on(leave).heal();
    EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 1);
}

TEST_F(Leadership, a_chosen_activity_opens_the_gate_for_failed_leadership_only)
{
    create(2, 0);
    const PoolThreadGuise guise(aws.get());
    ASSERT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 1);
    ZYLOsapiContext activity = {0x6};
    VESKWorker *const worker = DDS_AsyncWaitSetGlobals_getWorker(aws->_globals);
    const LogCapture log(0);
    synchronizer(enter).failFrom(1);
    failToLeave();
    const auto failBoth = [&] {
        EXPECT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), guise.thread()), 0);
        EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 0);
    };

    ZYLLog_g_categoryMask[ZYL_LOG_LEVEL_WARNING] = 0x4;
    failBoth();
    EXPECT_NO_LOG(log);  // no activity

    worker->_activityContext = &activity;
    failBoth();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_FAILED_TO_LOCK_TEMPLATE, "Pool synchronizer EA.");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_FAILED_TO_UNLOCK_TEMPLATE, "Pool synchronizer EA.");
    EXPECT_LOG_COUNT(log, 2u);

    ZYLLog_g_categoryMask[ZYL_LOG_LEVEL_WARNING] = 0x9;
    failBoth();
    EXPECT_LOG_COUNT(log, 2u);  // an activity of other categories

    ZYLLog_g_categoryMask[ZYL_LOG_LEVEL_WARNING] = 0;
    worker->_activityContext = nullptr;
    doubles.on(leave).heal();
    EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), guise.thread()), 1);
}

}  // namespace
