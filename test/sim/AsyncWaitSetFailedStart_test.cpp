/// @file
/// Starts that fail partway: what they leave behind never hangs, whatever comes next.
#include "AwsScenario.hpp"
#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"
#include "halo_runtime/zyl/ZYLShared.pkg.hpp"

namespace {

/// The default factory, refusing one creation.
class FailingFactory {
public:
    explicit FailingFactory(int failingCreation)
        : _failingCreation(failingCreation),
          _default(DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance()))
    {
    }

    DDS_ThreadFactory factory()
    {
        return {this,
                [](void *data, const char *name, const DDS_ThreadSettings_t *settings,
                   DDS_ThreadFactory_OnSpawnedFunction body, void *param) -> void * {
                    auto &self = *static_cast<FailingFactory *>(data);
                    if (self._creations++ == self._failingCreation) return nullptr;
                    return self._default.create_thread(self._default.factory_data, name, settings, body, param);
                },
                [](void *data, void *thread) {
                    auto &self = *static_cast<FailingFactory *>(data);
                    self._default.delete_thread(self._default.factory_data, thread);
                }};
    }

private:
    int _creations = 0;
    int _failingCreation;
    DDS_ThreadFactory _default;
};

/// Pool size and the index whose creation fails.
class FailedStart : public testing::TestWithParam<std::pair<DDS_UnsignedLong, int>> {
protected:
    static DDS_UnsignedLong poolSize() { return GetParam().first; }
    static int failingIndex() { return GetParam().second; }
};
INSTANTIATE_TEST_SUITE_P(PoolAndIndex, FailedStart,
                         testing::Values(std::pair{1U, 0}, std::pair{2U, 0}, std::pair{2U, 1}, std::pair{3U, 1},
                                         std::pair{3U, 2}));

}  // namespace

TEST_P(FailedStart, its_own_token_is_completed_with_an_error_and_the_wait_set_can_be_deleted)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        FailingFactory failing(failingIndex());
        const DDS_ThreadFactory factory = failing.factory();
        const ScenarioWaitSet aws(propertyOf(poolSize()), nullptr, &factory);
        ScenarioToken token(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, token), DDS_RETCODE_ERROR);
        EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
        EXPECT_EQ(token.wait(), DDS_RETCODE_ERROR);
    });
}

TEST_P(FailedStart, the_created_threads_finish_the_request_without_the_missing_ones)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        FailingFactory failing(failingIndex());
        const DDS_ThreadFactory factory = failing.factory();
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        const ScenarioWaitSet aws(propertyOf(poolSize()), &callbacks, &factory);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_ERROR);
        while (DDS_CountingCondition_get_count(aws->_taskCondition) != 0) ZYLPlatform_yield();
        EXPECT_EQ(listener.count("spawned"), failingIndex());
        EXPECT_EQ(handoffRead(aws->_queuedRequestCount), 0);
    });
}

TEST_P(FailedStart, the_next_start_retires_what_is_left_and_works)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        FailingFactory failing(failingIndex());
        const DDS_ThreadFactory factory = failing.factory();
        Signal handled;
        HandledGuard guard([&](HandledGuard &) { handled.give(); });
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        const ScenarioWaitSet aws(propertyOf(poolSize()), &callbacks, &factory);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_ERROR);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("spawned"), static_cast<int>(poolSize()) + failingIndex());
        expectDispatched(guard, handled);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("deleted"), static_cast<int>(poolSize()));
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(FailedStart, several_starters_share_the_recovery)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        FailingFactory failing(failingIndex());
        const DDS_ThreadFactory factory = failing.factory();
        const ScenarioWaitSet aws(propertyOf(poolSize()), nullptr, &factory);
        const auto start = [&] {
            ScenarioToken token(aws);
            const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_start_with_completion_token(aws, token);
            EXPECT_TRUE(retCode == DDS_RETCODE_OK || retCode == DDS_RETCODE_ERROR) << retCode;
            // Of a start that found the wait set started the token was never submitted; a wait is refused then.
            const DDS_ReturnCode_t outcome = token.wait();
            EXPECT_TRUE(outcome == DDS_RETCODE_PRECONDITION_NOT_MET || outcome == retCode) << outcome;
        };
        {
            SimThread first("first", start);
            SimThread second("second", start);
            SimThread third("third", start);
        }
        EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_TRUE);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    });
}

TEST_P(FailedStart, requests_beside_it_are_carried_out)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        FailingFactory failing(failingIndex());
        const DDS_ThreadFactory factory = failing.factory();
        HandledGuard guard;
        const ScenarioWaitSet aws(propertyOf(poolSize()), nullptr, &factory);
        {
            SimThread other("other", [&] {
                EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
            });
            EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_ERROR);
        }
        EXPECT_EQ(aws->_conditionInfoList._size, 0);
    });
}
