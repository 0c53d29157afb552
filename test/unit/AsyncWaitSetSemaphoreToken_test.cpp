/// @file
/// The token that is made of a semaphore: its record, its three operations, and each of them failing.
// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
// Replaces: ZYLOsapiSemaphore_new ZYLOsapiSemaphore_take ZYLOsapiSemaphore_give ZYLOsapiSemaphore_drain
#include <thread>

#include "AwsQueueFixture.hpp"

namespace {

using Token = DDS_AsyncWaitSetCompletionToken;

class SemaphoreToken : public AwsQueueTest {
protected:
    DDS_ReturnCode_t reset(Token *token) { return token->_handler.reset(token->_handler.handlerData, token); }
    DDS_ReturnCode_t notify(Token *token) { return token->_handler.notify(token->_handler.handlerData, token); }
    DDS_ReturnCode_t wait(Token *token, const ZYLNtpTime &timeout = {})
    {
        return token->_handler.wait(token->_handler.handlerData, token, &timeout);
    }
};

TEST_F(SemaphoreToken, a_new_token_is_ready_and_belongs_to_its_wait_set)
{
    create(1);
    Token *const token = DDS_SemaphoreAsyncWaitSetCompletionToken_new(aws);
    ASSERT_NE(token, nullptr);
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
    EXPECT_EQ(token->_owner, aws);
    EXPECT_EQ(token->_isWaiting, 0);
    EXPECT_EQ(token->_taskResult, nullptr);
    EXPECT_EQ(token->_loanedNode.userData, token);
    EXPECT_EQ(token->_loanedNode.node.inlineList, nullptr);
    EXPECT_EQ(lentTokens(), 0) << "it does not count until it is lent";
    DDS_SemaphoreAsyncWaitSetCompletionToken_delete(token);
}

TEST_F(SemaphoreToken, a_token_that_cannot_be_made_leaves_nothing)
{
    create(1);
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    for (const char *const service : {"ZYLOsapiHeap_reallocateMemoryInternal", "ZYLOsapiSemaphore_new"}) {
        doubles.on(service).fail();
        EXPECT_EQ(DDS_SemaphoreAsyncWaitSetCompletionToken_new(aws), nullptr);
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    }
    EXPECT_EQ(doubles.failedCount(), 2);
}

TEST_F(SemaphoreToken, a_notification_lets_one_wait_pass)
{
    create(1);
    Token *const token = newToken();
    EXPECT_EQ(wait(token), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(notify(token), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token, {0x7fffffff, 0xffffffff}), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), DDS_RETCODE_TIMEOUT);
}

TEST_F(SemaphoreToken, a_reset_forgets_notifications_that_nobody_waited_for)
{
    create(1);
    Token *const token = newToken();
    EXPECT_EQ(notify(token), DDS_RETCODE_OK);
    EXPECT_EQ(notify(token), DDS_RETCODE_OK);
    EXPECT_EQ(reset(token), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), DDS_RETCODE_TIMEOUT);
}

TEST_F(SemaphoreToken, a_notification_releases_a_blocked_wait)
{
    create(1);
    Token *const token = newToken();
    DDS_ReturnCode_t retCode = DDS_RETCODE_ERROR;
    std::thread waiter([&] { retCode = wait(token, {0x7fffffff, 0xffffffff}); });
    EXPECT_EQ(notify(token), DDS_RETCODE_OK);
    waiter.join();
    EXPECT_EQ(retCode, DDS_RETCODE_OK);
}

TEST_F(SemaphoreToken, a_semaphore_that_fails_is_an_error)
{
    create(1);
    Token *const token = newToken();
    doubles.on("ZYLOsapiSemaphore_drain").fail();
    EXPECT_EQ(reset(token), DDS_RETCODE_ERROR);
    doubles.on("ZYLOsapiSemaphore_give").fail();
    EXPECT_EQ(notify(token), DDS_RETCODE_ERROR);
    doubles.on("ZYLOsapiSemaphore_take").fail();
    EXPECT_EQ(wait(token), DDS_RETCODE_ERROR);
}

}  // namespace
