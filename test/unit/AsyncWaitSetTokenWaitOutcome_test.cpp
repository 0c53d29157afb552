/// @file
/// Outcomes of requests as waits tell them: once, and to nobody else.
// Replaces: DDS_WaitSet_attach_condition
#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"

namespace {

constexpr auto REFUSED = DDS_RETCODE_OUT_OF_RESOURCES;

class TokenOutcome : public testing::Test {
protected:
    TokenOutcome()
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
        aws = DDS_AsyncWaitSet_new(&property);
    }
    ~TokenOutcome() override
    {
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
    }

    /// Submit an attach that the plain wait set refuses.
    DDS_ReturnCode_t attachInVain(DDS_AsyncWaitSetCompletionToken *token)
    {
        doubles.on("DDS_WaitSet_attach_condition").with(guard.condition()).onEveryThread().fail(1, REFUSED);
        return DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), token);
    }
    static DDS_ReturnCode_t wait(DDS_AsyncWaitSetCompletionToken *token)
    {
        return DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE);
    }

    const LogCapture log;
    HandledGuard guard;
    DDS_AsyncWaitSet *aws = nullptr;
    Doubles doubles;
};

}  // namespace

TEST_F(TokenOutcome, a_failure_is_told_once_whether_its_wait_blocked_or_not)
{
    DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(aws);
    EXPECT_EQ(attachInVain(token), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), REFUSED) << "processed already";
    EXPECT_EQ(wait(token), DDS_RETCODE_OK);

    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    EXPECT_EQ(attachInVain(token), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), REFUSED);
    EXPECT_EQ(wait(token), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), DDS_RETCODE_OK);

    EXPECT_EQ(attachInVain(token), DDS_RETCODE_OK) << "a new submission has a new outcome";
    EXPECT_EQ(wait(token), REFUSED);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
}

TEST_F(TokenOutcome, a_recycled_token_tells_nothing_of_its_former_life)
{
    for (const bool isStarted : {false, true}) {
        if (isStarted) {
            ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        }
        EXPECT_EQ(attachInVain(implicitToken()), REFUSED);
        DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(aws);
        EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_PROCESSED) << "the lent one, recycled";
        EXPECT_EQ(wait(token), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
    }
    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
}

TEST_F(TokenOutcome, a_failure_that_nobody_has_heard_is_told_later)
{
    DDS_AsyncWaitSetCompletionToken *const token = DDS_AsyncWaitSet_create_completion_token(aws);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    EXPECT_EQ(attachInVain(token), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);  // so it is processed
    EXPECT_EQ(wait(token), REFUSED);
    EXPECT_EQ(wait(token), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
}
