/// @file
/// What handlers may do with wait sets, their own and others, on real threads: the level rule for submitting and for
/// waiting, a condition in two wait sets, and stop and delete from inside a handler.
// Replaces: DDS_AsyncWaitSet_loanCompletionToken DDS_WaitSet_mask_condition ZYLOsapiThread_yield
#include <gmock/gmock.h>

#include <atomic>
#include <memory>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "Signal.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

const char *const loan = "DDS_AsyncWaitSet_loanCompletionToken";
const char *const yield = "ZYLOsapiThread_yield";
const char *const sameThread = "waiting for request processed is not allowed within the same thread";

/// A started wait set, stopped and deleted at the end.
class Pool {
public:
    Pool(DDS_UnsignedLong poolSize, DDS_Long level)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize, level);
        const DDS_AsyncWaitSetListener hearing = listener.listener();
        aws = DDS_AsyncWaitSet_new_with_listener(&property, &hearing);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    }
    ~Pool() { EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK); }
    Pool(const Pool &) = delete;
    Pool &operator=(const Pool &) = delete;

    /// Run `body` in a handler of this wait set, and `then` before the handler's condition is detached.
    void inHandler(const std::function<void()> &body, const std::function<void()> &then = {}) const
    {
        Signal done;
        HandledGuard guard([&](HandledGuard &) {
            body();
            done.give();
        });
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        guard.trigger();
        done.take();
        if (then) then();
        ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(guard.runs, 1);
    }

    DDS_AsyncWaitSetCompletionToken *createToken() const { return DDS_AsyncWaitSet_create_completion_token(aws); }
    DDS_ReturnCode_t deleteToken(DDS_AsyncWaitSetCompletionToken *token) const
    {
        return DDS_AsyncWaitSet_delete_completion_token(aws, token);
    }

    RecordingListener listener;
    DDS_AsyncWaitSet *aws = nullptr;
};

DDS_ReturnCode_t waitFor(DDS_AsyncWaitSetCompletionToken *token)
{
    return DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE);
}

class Nesting : public testing::Test {
protected:
    void SetUp() override
    {
        blockCount = ZYLOsapiHeap_getBlockCount();
        doubles.on(loan).onEveryThread().instead([this](DDS_AsyncWaitSet *self) {
            DDS_AsyncWaitSetCompletionToken *const token =
                Doubles::real<decltype(DDS_AsyncWaitSet_loanCompletionToken)>(loan)(self);
            if (DDS_AsyncWaitSetGlobals_getThreadSpecific(self->_globals) != nullptr) lentInHandler = token;
            return token;
        });
    }
    void TearDown() override { EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount); }

    std::size_t blockCount = 0;
    std::atomic<DDS_AsyncWaitSetCompletionToken *> lentInHandler{nullptr};  ///< Lent last on a pool thread.
    Doubles doubles;
};

/// The text of a refusal by the level rule on the only thread of `caller`.
std::string levelRefusal(const char *function, const char *kind, const Pool &entered, const Pool &caller)
{
    return LogCapture::format("%s: tid %llu dead lock risk: cannot enter %s of level %d from %s of level %d\n",
                              function, static_cast<unsigned long long>(caller.aws->_threadPool[0]._threadId), kind,
                              entered.aws->_property.level, kind, caller.aws->_property.level);
}

// ---------------------------------------------------------------- other wait sets

TEST_F(Nesting, a_handler_may_use_a_wait_set_of_a_higher_level_and_wait_for_it)
{
    const LogCapture log;
    const Pool low(2, 1);
    const Pool high(2, 2);
    HandledGuard guard;
    DDS_AsyncWaitSetCompletionToken *const token = high.createToken();
    low.inHandler([&] {
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(high.aws, guard.condition(), token),
                  DDS_RETCODE_OK);
        EXPECT_EQ(waitFor(token), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(high.aws, implicitToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_resume_with_completion_token(high.aws, ignoreToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(high.aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(high.aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(high.aws), DDS_RETCODE_OK);
    });
    EXPECT_EQ(high.listener.count("spawned"), 4);
    EXPECT_EQ(high.deleteToken(token), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

TEST_F(Nesting, a_handler_may_not_submit_to_a_wait_set_whose_level_is_not_higher)
{
    for (const DDS_Long level : {5, 4}) {
        const Pool caller(1, 5);
        const Pool entered(2, level);
        HandledGuard guard;
        DDS_AsyncWaitSetCompletionToken *const token = entered.createToken();
        const LogCapture log;
        caller.inHandler([&] {
            for (DDS_AsyncWaitSetCompletionToken *const given : {token, ignoreToken(), implicitToken()})
                EXPECT_EQ(
                    DDS_AsyncWaitSet_attach_condition_with_completion_token(entered.aws, guard.condition(), given),
                    DDS_RETCODE_PRECONDITION_NOT_MET);
        });
        EXPECT_TRACE(log, ZYL_LOG_LEVEL_WARNING, levelRefusal("DDS_AsyncWaitSet_submitTaskI", "WSCT", entered, caller));
        EXPECT_EQ(log.count(ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s), 6);
        EXPECT_LOG_COUNT(log, 9u);
        EXPECT_EQ(entered.listener.count("attached"), 0);
        EXPECT_EQ(entered.deleteToken(token), DDS_RETCODE_OK);
        EXPECT_EQ(entered.aws->_loanedCompletionTokenCount, 0);  // the implicit one was given back
    }
}

TEST_F(Nesting, a_handler_may_not_wait_for_a_wait_set_whose_level_is_not_higher)
{
    const Pool caller(1, 3);
    const Pool entered(1, 3);
    HandledGuard guard;
    DDS_AsyncWaitSetCompletionToken *const token = entered.createToken();
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(entered.aws, guard.condition(), token),
              DDS_RETCODE_OK);
    {
        const LogCapture log;
        caller.inHandler([&] { EXPECT_EQ(waitFor(token), DDS_RETCODE_PRECONDITION_NOT_MET); });
        EXPECT_TRACE(log, ZYL_LOG_LEVEL_WARNING,
                     levelRefusal("DDS_AsyncWaitSet_waitForTaskExecutedI", "AWS", entered, caller));
        EXPECT_LOG_COUNT(log, 1u);
    }
    EXPECT_EQ(waitFor(token), DDS_RETCODE_OK);  // an application thread is never refused
    EXPECT_EQ(entered.deleteToken(token), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(entered.aws, guard.condition()), DDS_RETCODE_OK);
}

TEST_F(Nesting, a_stop_of_a_wait_set_that_is_not_started_retires_no_thread_of_the_caller)
{
    const Pool caller(2, 1);
    const Pool idle(2, 2);
    ASSERT_EQ(DDS_AsyncWaitSet_stop(idle.aws), DDS_RETCODE_OK);
    ASSERT_EQ(idle.listener.count("deleted"), 2);
    caller.inHandler([&] { EXPECT_EQ(DDS_AsyncWaitSet_stop(idle.aws), DDS_RETCODE_OK); });
    EXPECT_EQ(idle.listener.count("deleted"), 2);
    EXPECT_EQ(caller.listener.count("deleted"), 0);
    caller.inHandler([] {});
}

// ---------------------------------------------------------------- a condition in two wait sets

TEST_F(Nesting, two_wait_sets_dispatch_a_condition_that_both_have_at_the_same_time)
{
    const Pool first(2, 1);
    const Pool second(2, 1);
    Signal arrived, go;
    HandledGuard guard(
        [&](HandledGuard &self) {
            arrived.give();
            go.take();
            self.clear();
        },
        false);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(first.aws, guard.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(second.aws, guard.condition()), DDS_RETCODE_OK);
    guard.trigger();
    arrived.take(2);
    EXPECT_EQ(guard.mostInside, 2);
    for (int i = 0; i < 8; ++i) go.give();  // a pool that looked before the other's handler cleared runs once more
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(first.aws, guard.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(second.aws, guard.condition()), DDS_RETCODE_OK);
    EXPECT_EQ(guard.mostInside, 2);  // each wait set for itself keeps to one at a time
    EXPECT_FALSE(guard.isTriggered());
}

TEST_F(Nesting, a_condition_is_unlocked_only_in_the_wait_set_that_dispatches_it)
{
    const LogCapture log;
    const Pool dispatching(2, 1);
    const Pool other(2, 1);
    Signal inside, go, done;
    HandledGuard guard([&](HandledGuard &self) {
        if (self.inside > 1) {  // the second thread of the same pool came in after the unlock
            done.give();
            return;
        }
        EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(other.aws, self.condition()), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(dispatching.aws, self.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(dispatching.aws, self.condition()), DDS_RETCODE_OK);
        inside.give();
        go.take();
    });
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(dispatching.aws, guard.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(other.aws, implicitToken()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(other.aws, guard.condition()), DDS_RETCODE_OK);
    guard.trigger();
    inside.take();
    guard.trigger();
    done.take();  // it runs on two threads, as its handler asked for
    go.give();
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(dispatching.aws, guard.condition()), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(other.aws, guard.condition()), DDS_RETCODE_OK);
    EXPECT_EQ(guard.mostInside, 2);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, "specified condition is not being dispatched");
    EXPECT_LOG_COUNT(log, 1u);
}

// ---------------------------------------------------------------- the own wait set

TEST_F(Nesting, a_handler_may_submit_to_its_own_wait_set_and_others_wait)
{
    const LogCapture log;
    const Pool pool(2, 1);
    HandledGuard guard;
    DDS_AsyncWaitSetCompletionToken *const token = pool.createToken();
    pool.inHandler([&] {
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(pool.aws, guard.condition(), token),
                  DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(pool.aws, ignoreToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_resume_with_completion_token(pool.aws, ignoreToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(pool.aws, ignoreToken()), DDS_RETCODE_OK);
    });
    EXPECT_EQ(waitFor(token), DDS_RETCODE_OK);
    EXPECT_EQ(pool.deleteToken(token), DDS_RETCODE_OK);
    EXPECT_EQ(pool.listener.count("spawned"), 2);
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(pool.aws, guard.condition()), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

TEST_F(Nesting, a_handler_that_waits_for_its_own_wait_set_is_refused_and_the_request_is_carried_out)
{
    const Pool pool(2, 1);
    HandledGuard guard;
    const LogCapture log;
    pool.inHandler([&] {
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(pool.aws, guard.condition()), DDS_RETCODE_PRECONDITION_NOT_MET);
    });
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, sameThread);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "submit internal task");
    EXPECT_LOG_COUNT(log, 4u);
    EXPECT_EQ(pool.listener.count("attached"), 2);
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(pool.aws, guard.condition()), DDS_RETCODE_OK);
    EXPECT_EQ(pool.aws->_loanedCompletionTokenCount, 0) << "it came home with its request";
}

TEST_F(Nesting, a_stop_from_a_handler_with_a_token_of_its_own_is_like_any_other)
{
    const Pool pool(3, 1);
    DDS_AsyncWaitSetCompletionToken *const token = pool.createToken();
    pool.inHandler([&] { EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(pool.aws, token), DDS_RETCODE_OK); },
                   [&] { EXPECT_EQ(waitFor(token), DDS_RETCODE_OK); });
    EXPECT_EQ(DDS_AsyncWaitSet_is_started(pool.aws), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(pool.listener.count("deleted"), 3);
    EXPECT_EQ(pool.deleteToken(token), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_start(pool.aws), DDS_RETCODE_OK);
    pool.inHandler([] {});
}

TEST_F(Nesting, an_implicit_stop_or_delete_from_a_handler_is_carried_out_and_its_token_comes_home)
{
    for (const bool isDelete : {false, true}) {
        const Pool pool(2, 1);
        {
            const LogCapture log;
            Signal done;
            HandledGuard guard([&](HandledGuard &) {
                EXPECT_EQ(isDelete ? DDS_AsyncWaitSet_delete(pool.aws) : DDS_AsyncWaitSet_stop(pool.aws),
                          DDS_RETCODE_PRECONDITION_NOT_MET);
                done.give();
            });
            ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(pool.aws, guard.condition()), DDS_RETCODE_OK);
            guard.trigger();
            done.take();
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, sameThread);
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
            EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s,
                       isDelete ? "request stop" : "DDS_AsyncWaitSet_stop_with_completion_token");
            EXPECT_LOG_COUNT(log, isDelete ? 5u : 4u);

            // A start waits until the stop is through, and so does the deletion at the end of the pool.
            while (DDS_AsyncWaitSet_is_started(pool.aws) != DDS_BOOLEAN_FALSE) ZYLOsapiThread_yield();
            EXPECT_EQ(pool.listener.count("deleted"), 2);
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(pool.aws, guard.condition()), DDS_RETCODE_OK);
            ASSERT_EQ(DDS_AsyncWaitSet_start(pool.aws), DDS_RETCODE_OK);
            EXPECT_EQ(pool.aws->_loanedCompletionTokenCount, 0) << "it came home with its request";
        }
    }
}

TEST_F(Nesting, a_detached_condition_is_not_dispatched_any_more)
{
    for (const DDS_UnsignedLong poolSize : {1u, 3u}) {
        const Pool pool(poolSize, 1);
        HandledGuard restless({}, false);  // stays triggered, so it runs all the time
        restless.trigger();
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(pool.aws, restless.condition()), DDS_RETCODE_OK);
        pool.inHandler([] {});
        ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(pool.aws, restless.condition()), DDS_RETCODE_OK);
        const int runs = restless.runs;
        EXPECT_GE(runs, 1);
        EXPECT_EQ(restless.inside, 0);
        for (int i = 0; i < 5; ++i) pool.inHandler([] {});
        EXPECT_EQ(restless.runs, runs);
        EXPECT_EQ(restless.mostInside, 1);
    }
}

// ---------------------------------------------------------------- nothing to pick

TEST_F(Nesting, a_leader_that_found_nothing_yields_before_it_waits_again)
{
    // A condition that could not be masked stays in the waits while its handler runs: every wait ends at once.
    const LogCapture log;
    Signal yielded;
    const Pool pool(2, 1);
    Signal done;
    HandledGuard guard(
        [&](HandledGuard &self) {
            doubles.on(yield).onEveryThread().before([&] { yielded.give(); });
            yielded.take(10);
            self.clear();
            done.give();
        },
        false);
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(pool.aws, guard.condition()), DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_mask_condition")
        .with(guard.condition(), DDS_BOOLEAN_FALSE)
        .onEveryThread()
        .failFrom(1, DDS_RETCODE_ERROR);
    guard.trigger();
    done.take();
    ASSERT_EQ(DDS_AsyncWaitSet_detach_condition(pool.aws, guard.condition()), DDS_RETCODE_OK);
    EXPECT_EQ(guard.runs, 1);
    EXPECT_EQ(guard.mostInside, 1);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "lock condition");
    EXPECT_LOG_COUNT(log, 1u);
}

TEST_F(Nesting, a_thread_that_dispatches_does_not_yield)
{
    const Pool pool(1, 1);
    pool.inHandler([] {});
    doubles.on(yield).onEveryThread();
    pool.inHandler([] {});
    EXPECT_EQ(doubles.count(yield), 0);
}

}  // namespace
