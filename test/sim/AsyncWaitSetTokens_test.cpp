/// @file
/// Completion tokens under every schedule: outcomes, time-outs, reuse and deletion beside a waiter.

// Replaces: DDS_WaitSet_attach_condition DDS_SemaphoreAsyncWaitSetCompletionToken_delete
#include "AwsScenario.hpp"
#include "doubles/Doubles.hpp"

namespace {

class Tokens : public testing::TestWithParam<DDS_UnsignedLong> {
protected:
    Tokens()
    {
        doubles.on("DDS_SemaphoreAsyncWaitSetCompletionToken_delete")
            .before([](DDS_AsyncWaitSetCompletionToken *token) {
                constexpr int waiters = ~1;
                EXPECT_EQ(token->_waiterMark & waiters, 0) << "destroyed under its waiter";
            });
    }
    ~Tokens() override
    {
        EXPECT_GT(doubles.count("DDS_SemaphoreAsyncWaitSetCompletionToken_delete"), 0) << "no token was destroyed";
    }
    Tokens(const Tokens &) = delete;
    Tokens &operator=(const Tokens &) = delete;

    Doubles doubles;
};
INSTANTIATE_TEST_SUITE_P(PoolOf, Tokens, testing::Values(1U, 2U, 3U));

}  // namespace

TEST_P(Tokens, the_failure_of_the_last_execution_is_never_hidden_by_an_earlier_one)
{
    forEachSeed(scenarioSeeds, [this] {
        const Quiet quiet;
        HandledGuard guard;
        const ScenarioWaitSet aws(GetParam());
        // Threads that begin claim without leading, so their executions overlap.
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_OK);
        DoubledService attaching = doubles.on("DDS_WaitSet_attach_condition").failFrom(1);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OUT_OF_RESOURCES);
        attaching.heal();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    });
}

TEST_P(Tokens, the_last_execution_is_one_thread_s_alone)
{
    forEachSeed(scenarioSeeds, [] {
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        HandledGuard guards[3];
        const ScenarioWaitSet aws(GetParam(), 1, &callbacks);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_OK);
        for (HandledGuard &guard : guards)
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), ignoreToken()),
                      DDS_RETCODE_OK);
        for (HandledGuard &guard : guards)
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition_with_completion_token(aws, guard.condition(), ignoreToken()),
                      DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(listener.count("attached"), 3);
        EXPECT_EQ(listener.count("detached"), 3);
    });
}

TEST_P(Tokens, a_wait_that_timed_out_can_be_repeated)
{
    forEachSeed(scenarioSeeds, [] {
        Signal entered;
        Signal release;
        HandledGuard slow([&](HandledGuard &) {
            entered.give();
            release.take();
        });
        HandledGuard guard;
        const ScenarioWaitSet aws(GetParam());
        ScenarioToken token(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, slow.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        slow.trigger();
        entered.take();
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), token),
                  DDS_RETCODE_OK);
        const DDS_Duration_t short_wait = {0, 1000000};
        EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &short_wait), DDS_RETCODE_TIMEOUT);
        release.give();
        DDS_ReturnCode_t retCode = DDS_RETCODE_TIMEOUT;
        while (retCode == DDS_RETCODE_TIMEOUT) retCode = DDS_AsyncWaitSetCompletionToken_wait(token, &short_wait);
        EXPECT_EQ(retCode, DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, slow.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Tokens, a_token_can_be_deleted_while_its_waiter_is_still_leaving)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        HandledGuard guard;
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), token),
                  DDS_RETCODE_OK);
        std::atomic<bool> hasReturned = false;
        {
            SimThread waiter("waiter", [&] {
                EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, &forever), DDS_RETCODE_OK);
                hasReturned = true;
            });
            // Deleting must not come before the waiter's call, and is refused until the request is done.
            while (handoffRead(token->_waiterMark) == 0 && !hasReturned) ZYLPlatform_yield();
            while (DDS_AsyncWaitSet_delete_completion_token(aws, token) != DDS_RETCODE_OK) ZYLPlatform_yield();
        }
        EXPECT_EQ(aws->_loanedCompletionTokenCount, 0);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(Tokens, a_token_that_is_submitted_again_beside_its_waiter_keeps_its_new_state)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        HandledGuard guard;
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        ScenarioToken token(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), token),
                  DDS_RETCODE_OK);
        {
            SimThread waiter("waiter", [&] {
                const DDS_ReturnCode_t retCode = token.wait();
                EXPECT_EQ(retCode, DDS_RETCODE_OK);
            });
            while (DDS_AsyncWaitSet_detach_condition_with_completion_token(aws, guard.condition(), token) !=
                   DDS_RETCODE_OK)
                ZYLPlatform_yield();
        }
        // The second request is done only when the pool says so, not when the first waiter left.
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(token.wait(), DDS_RETCODE_OK);
        EXPECT_EQ(aws->_conditionInfoList._size, 0);
    });
}
