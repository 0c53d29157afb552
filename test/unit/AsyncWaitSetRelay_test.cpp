/// @file
/// The three relays that tell the listener of thread events: what is called, traced and handed on, in which order.

// Replaces: DDS_AsyncWaitSet_becomeNewLeader DDS_AsyncWaitSet_promoteNewLeader
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Double.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"

namespace {

using testing::ElementsAre;

/// What the listener is told: the name of the event and the thread.
doubled::LocalDouble<void(const char *, DDS_UnsignedLongLong)> listenerCall("listener");

const char *const become = "DDS_AsyncWaitSet_becomeNewLeader";
const char *const promote = "DDS_AsyncWaitSet_promoteNewLeader";

class Relay : public testing::Test {
protected:
    Relay()
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(2);
        recorder.onEvent = [](const RecordingListener::Event &event) {
            listenerCall.callOr([](auto...) {}, event.name.c_str(), event.threadId);
        };
        const DDS_AsyncWaitSetListener listener = recorder.listener();
        aws = DDS_AsyncWaitSet_new_with_listener(&property, &listener);
        thread = &aws->_threadPool[1];
        thread->index = 1;
        thread->_threadId = 77;
        thread->_threadName = DDS_String_dup("worker01");

        // Every call is noted with the number of lines printed before it.
        const auto note = [this](const std::string &call) {
            return LogCapture::format("%s after %zu", call.c_str(), log.entries().size());
        };
        doubles.on("listener").as([note](const char *name, DDS_UnsignedLongLong id) {
            return note(std::string(name) + " " + std::to_string(id));
        });
        for (const char *service : {become, promote})
            doubles.on(service)
                .as([=](DDS_AsyncWaitSet *, DDS_AsyncWaitSetThread *who) {
                    return note(std::string(service == become ? "become" : "promote") + " " +
                                std::to_string(who->index));
                })
                .instead([]() -> int { return 1; });
    }
    ~Relay() override { EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK); }
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;

    /// The two prints of a trace line are at this place.
    void expectTracePair(size_t place, const std::string &text)
    {
        const std::vector<LogCapture::Entry> entries = log.entries();
        ASSERT_GE(entries.size(), place + 2);
        EXPECT_EQ(entries[place].text, "[AWS|worker01]: ");
        EXPECT_EQ(entries[place + 1].text, text + "\n");
        for (const size_t i : {place, place + 1}) {
            EXPECT_EQ(entries[i].level, ZYL_LOG_LEVEL_TRACE);
            EXPECT_EQ(entries[i].module, 0U);
        }
    }
    void expectNullRefused(void (*relay)(DDS_AsyncWaitSet *, DDS_AsyncWaitSetThread *))
    {
        relay(nullptr, thread);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_THAT(doubles.calls(), ElementsAre());
        EXPECT_TRUE(recorder.events().empty());
    }
    void forgetListener() { aws->_listener = {}; }

    RecordingListener recorder;
    LogCapture log{0xff};
    Doubles doubles;
    DDS_AsyncWaitSet *aws = nullptr;
    DDS_AsyncWaitSetThread *thread = nullptr;
};

TEST_F(Relay, a_new_thread_leads_then_traces_then_is_reported)
{
    DDS_AsyncWaitSet_onThreadSpawned(aws, thread);
    EXPECT_THAT(doubles.calls(), ElementsAre("become 1 after 0", "spawned 77 after 2"));
    expectTracePair(0, "on thread spawned");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(Relay, a_new_thread_that_cannot_lead_is_neither_traced_nor_reported)
{
    doubles.on(become).fail();
    DDS_AsyncWaitSet_onThreadSpawned(aws, thread);
    EXPECT_THAT(doubles.calls(), ElementsAre("become 1 after 0"));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "become leader");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_TRUE(recorder.events().empty());
}

TEST_F(Relay, a_time_out_is_reported_then_traced)
{
    DDS_AsyncWaitSet_onWaitTimeout(aws, thread);
    EXPECT_THAT(doubles.calls(), ElementsAre("timeout 77 after 0"));
    expectTracePair(0, "on wait timeout");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(Relay, a_leaving_thread_is_reported_then_traced_then_hands_leadership_on)
{
    DDS_AsyncWaitSet_onThreadDeleted(aws, thread);
    EXPECT_THAT(doubles.calls(), ElementsAre("deleted 77 after 0", "promote 1 after 2"));
    expectTracePair(0, "on thread deleted");
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(Relay, a_leaving_thread_that_cannot_hand_leadership_on_says_so)
{
    doubles.on(promote).fail();
    DDS_AsyncWaitSet_onThreadDeleted(aws, thread);
    EXPECT_EQ(recorder.count("deleted"), 1);
    expectTracePair(0, "on thread deleted");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "promote new leader");
    EXPECT_LOG_COUNT(log, 3U);
}

TEST_F(Relay, without_a_listener_everything_else_happens_all_the_same)
{
    forgetListener();
    DDS_AsyncWaitSet_onThreadSpawned(aws, thread);
    DDS_AsyncWaitSet_onWaitTimeout(aws, thread);
    DDS_AsyncWaitSet_onThreadDeleted(aws, thread);
    EXPECT_THAT(doubles.calls(), ElementsAre("become 1 after 0", "promote 1 after 6"));
    expectTracePair(0, "on thread spawned");
    expectTracePair(2, "on wait timeout");
    expectTracePair(4, "on thread deleted");
}

TEST_F(Relay, no_relay_accepts_a_null_wait_set)
{
    expectNullRefused(DDS_AsyncWaitSet_onThreadSpawned);
    log.clear();
    expectNullRefused(DDS_AsyncWaitSet_onWaitTimeout);
    log.clear();
    expectNullRefused(DDS_AsyncWaitSet_onThreadDeleted);
}

}  // namespace
