/// @file
/// Completion tokens: the state table, the special tokens, and lending, returning, creating and deleting with every
/// step failing. The token's semaphore and waiting have their own files.
// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
#include "AwsQueueFixture.hpp"

namespace {

using Token = DDS_AsyncWaitSetCompletionToken;
constexpr auto READY = DDS_AsyncWaitSetCompletionTokenState_READY;
constexpr auto QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr auto PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;
constexpr auto INVALID = DDS_AsyncWaitSetCompletionTokenState_INVALID;

const char *const selfIsNull = "\"self == ((void *)0)\"";
const char *const isForeign = "the specified completion token was not loaned from this AsyncWaitSet";
const char *const isPending =
    "completion token cannot be returned for reuse or deletion.\nIt is associated with a task pending processing.";

class CompletionToken : public AwsQueueTest {
protected:
    Token *loan() { return DDS_AsyncWaitSet_loanCompletionToken(aws); }
    DDS_ReturnCode_t giveBack(Token *token) { return DDS_AsyncWaitSet_returnLoanedCompletionToken(aws, token); }
    DDS_ReturnCode_t destroy(Token *token) { return DDS_AsyncWaitSet_delete_completion_token(aws, token); }
    /// An idle token, known, which the next loan lends: so a failure that loses a token loses one that the test knows.
    Token *idleToken()
    {
        Token *const token = loan();
        EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
        doubles.clear();
        return token;
    }
    void expectAreaFailed(const char *step) { EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, step); }
    void expectCounts(int lent, int idle)
    {
        EXPECT_EQ(lentTokens(), lent);
        EXPECT_EQ(idleTokens(), idle);
        EXPECT_EQ(criticalSectionDepth(), 0);
    }
};

TEST_F(CompletionToken, the_state_table_allows_exactly_what_the_protocol_needs)
{
    EXPECT_EQ(static_cast<int>(READY), 0);
    EXPECT_EQ(static_cast<int>(QUEUED), 1);
    EXPECT_EQ(static_cast<int>(PROCESSED), 2);
    EXPECT_EQ(static_cast<int>(INVALID), 3);
    EXPECT_EQ(static_cast<int>(DDS_AsyncWaitSetCompletionTokenState_COUNT), 3);
    const auto &table = DDS_AsyncWaitSet_g_CT_STATES;  // columns: wait, submit, notify
    EXPECT_THAT(table[READY], testing::ElementsAre(INVALID, QUEUED, INVALID));
    EXPECT_THAT(table[QUEUED], testing::ElementsAre(PROCESSED, INVALID, PROCESSED));
    EXPECT_THAT(table[PROCESSED], testing::ElementsAre(PROCESSED, QUEUED, INVALID));
}

TEST_F(CompletionToken, the_special_tokens_are_two_empty_records)
{
    EXPECT_NE(ignoreToken(), implicitToken());
    EXPECT_EQ(implicitToken(), &DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT_VALUE);
    for (const Token *const special : {ignoreToken(), implicitToken()}) {
        EXPECT_EQ(special->_state, READY);
        EXPECT_EQ(special->_owner, nullptr);
        EXPECT_EQ(special->_handler.wait, nullptr);
    }
}

// ---------------------------------------------------------------- lending

TEST_F(CompletionToken, a_loan_needs_a_wait_set)
{
    EXPECT_EQ(DDS_AsyncWaitSet_loanCompletionToken(nullptr), nullptr);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, selfIsNull);
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(CompletionToken, idle_tokens_are_lent_again_as_they_are_the_oldest_first)
{
    create(1);
    Token *const first = loan();
    Token *const second = loan();
    EXPECT_NE(first, second);
    expectCounts(2, 0);
    first->_state = PROCESSED;
    first->retCode = DDS_RETCODE_TIMEOUT;
    EXPECT_EQ(giveBack(first), DDS_RETCODE_OK);
    EXPECT_EQ(giveBack(second), DDS_RETCODE_OK);
    expectCounts(0, 2);
    EXPECT_EQ(loan(), first);
    EXPECT_EQ(first->_state, PROCESSED);
    EXPECT_EQ(first->retCode, DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(loan(), second);
    expectCounts(2, 0);
    for (Token *const token : {first, second}) EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

TEST_F(CompletionToken, a_loan_without_memory_fails)
{
    create(1);
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail();
    EXPECT_EQ(loan(), nullptr);
    EXPECT_LOG(log, 2, ZYL_LOG_CREATION_FAILURE_s, "DDS_AsyncWaitSetCompletionToken");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(0, 0);
}

TEST_F(CompletionToken, a_loan_that_cannot_enter_the_area_returns_null)
{
    create(1);
    area("enter").fail();
    EXPECT_EQ(loan(), nullptr);
    expectAreaFailed("enter");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(0, 0);
}

TEST_F(CompletionToken, a_loan_that_cannot_leave_the_area_returns_null_and_counts)
{
    create(1);
    Token *const token = idleToken();
    area("leave").fail();
    EXPECT_EQ(loan(), nullptr);
    expectAreaFailed("leave");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(1, 0);
    EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
}

TEST_F(CompletionToken, all_four_operations_may_be_called_inside_the_critical_section)
{
    create(1);
    enter();
    Token *const token = loan();
    EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_create_completion_token(aws), token);
    EXPECT_EQ(destroy(token), DDS_RETCODE_OK);
    EXPECT_EQ(criticalSectionDepth(), 1);
    leave();
    expectCounts(0, 0);
}

// ---------------------------------------------------------------- returning

TEST_F(CompletionToken, a_return_needs_a_wait_set_and_a_token)
{
    create(1);
    EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(nullptr, newToken()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, selfIsNull);
    EXPECT_EQ(giveBack(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"completionToken == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(CompletionToken, returning_twice_counts_once)
{
    create(1);
    Token *const token = loan();
    Token *const other = newToken();
    EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
    EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
    expectCounts(1, 1);
    EXPECT_EQ(other->_loanedNode.node.inlineList, nullptr);
    EXPECT_NO_LOG(log);
}

TEST_F(CompletionToken, a_return_refuses_foreign_and_pending_tokens)
{
    create(1);
    Token *const foreign = newToken(createOther(1, 1));
    foreign->_state = QUEUED;
    EXPECT_EQ(giveBack(foreign), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, isForeign);
    EXPECT_LOG_COUNT(log, 1U);
    foreign->_state = READY;
    Token *const own = newToken();
    own->_state = QUEUED;
    EXPECT_EQ(giveBack(own), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, isPending);
    EXPECT_LOG_COUNT(log, 2U);
    own->_state = READY;
    expectCounts(1, 0);
    EXPECT_EQ(foreign->_owner->_loanedCompletionTokenCount, 1);
}

TEST_F(CompletionToken, a_return_reports_a_failing_area)
{
    create(1);
    Token *const token = loan();
    area("enter").fail();
    EXPECT_EQ(giveBack(token), DDS_RETCODE_ERROR);
    expectAreaFailed("enter");
    expectCounts(1, 0);
    area("leave").fail();
    EXPECT_EQ(giveBack(token), DDS_RETCODE_ERROR);
    expectAreaFailed("leave");
    EXPECT_LOG_COUNT(log, 2U);
    expectCounts(0, 1);
}

// ---------------------------------------------------------------- creating

TEST_F(CompletionToken, a_created_token_is_a_lent_one)
{
    create(1);
    Token *const idle = idleToken();
    EXPECT_EQ(DDS_AsyncWaitSet_create_completion_token(aws), idle);
    expectCounts(1, 0);
    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_DELETE_s, "AsyncWaitSet. There are alive completion tokens created from this object.");
    EXPECT_EQ(destroy(idle), DDS_RETCODE_OK);
    expectCounts(0, 0);
}

TEST_F(CompletionToken, creation_reports_a_null_wait_set)
{
    EXPECT_EQ(DDS_AsyncWaitSet_create_completion_token(nullptr), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(CompletionToken, creation_reports_what_fails)
{
    create(1);
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_create_completion_token(aws), nullptr);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "loan completion token");
    EXPECT_LOG_COUNT(log, 2U);
    expectCounts(0, 0);

    log.clear();
    area("enter").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_create_completion_token(aws), nullptr);
    expectAreaFailed("enter");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(0, 0);

    Token *const token = idleToken();
    log.clear();
    area("leave").fail(2);  // after the loan's
    EXPECT_EQ(DDS_AsyncWaitSet_create_completion_token(aws), nullptr);
    expectAreaFailed("leave");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(1, 0);
    EXPECT_EQ(giveBack(token), DDS_RETCODE_OK);
}

// ---------------------------------------------------------------- deleting

TEST_F(CompletionToken, deletion_reports_null_arguments)
{
    create(1);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(nullptr, newToken()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_EQ(destroy(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "completion_token");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(CompletionToken, deleting_a_special_token_changes_nothing)
{
    create(1);
    doubles.clear();
    EXPECT_EQ(destroy(ignoreToken()), DDS_RETCODE_OK);
    EXPECT_EQ(destroy(implicitToken()), DDS_RETCODE_OK);
    EXPECT_TRUE(doubles.calls().empty());
    expectCounts(0, 0);
    EXPECT_NO_LOG(log);
}

TEST_F(CompletionToken, deletion_frees_a_token_lent_or_idle)
{
    create(1);
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    EXPECT_EQ(destroy(loan()), DDS_RETCODE_OK);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    expectCounts(0, 0);
    EXPECT_EQ(destroy(idleToken()), DDS_RETCODE_OK);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    expectCounts(0, 0);
}

TEST_F(CompletionToken, deletion_refuses_foreign_and_pending_tokens)
{
    create(1);
    EXPECT_EQ(destroy(newToken(createOther(1, 1))), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, isForeign);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "return loaned completion");
    EXPECT_LOG_COUNT(log, 2U);
    log.clear();
    Token *const own = newToken();
    own->_state = QUEUED;
    EXPECT_EQ(destroy(own), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, isPending);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "return loaned completion");
    own->_state = READY;
    expectCounts(1, 0);
}

TEST_F(CompletionToken, deletion_reports_a_failing_area)
{
    create(1);
    Token *const token = loan();
    area("enter").fail();
    EXPECT_EQ(destroy(token), DDS_RETCODE_ERROR);
    expectAreaFailed("enter");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(1, 0);
    log.clear();
    area("enter").fail(2);  // the return's
    EXPECT_EQ(destroy(token), DDS_RETCODE_PRECONDITION_NOT_MET) << "whatever the return's code was";
    expectAreaFailed("enter");
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "return loaned completion");
    EXPECT_LOG_COUNT(log, 2U);
    expectCounts(1, 0);
    log.clear();
    area("leave").fail(2);
    EXPECT_EQ(destroy(token), DDS_RETCODE_ERROR);
    expectAreaFailed("leave");
    EXPECT_LOG_COUNT(log, 1U);
    expectCounts(0, 0);
}

}  // namespace
