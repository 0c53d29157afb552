/// @file
/// The doubles themselves: what is noted and fails, when, on which thread, and what they say when they are misused.
// Replaces: DDS_WaitSet_attach_condition DDS_WaitSet_detach_condition DDS_WaitSet_mask_condition DDS_WaitSet_end_waitI
// Replaces: DDS_WaitSet_waitI DDS_WaitSet_delete DDS_Condition_get_handler DDS_Condition_get_trigger_value
// Replaces: VESKWorker_enterExclusiveArea VESKWorker_leaveExclusiveArea ZYLOsapiHeap_reallocateMemoryInternal
// Replaces: ZYLOsapiUtility_snprintf ZYLOsapiUtility_strncpy malloc
#include "doubles/Doubles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "doubles/Double.hpp"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What a test asks the kit while `EXPECT_NONFATAL_FAILURE` looks on, which sees nothing of a local scope.
Doubles *asked = nullptr;

class DoublesTest : public testing::Test {
protected:
    DoublesTest()
    {
        asked = &doubles;
        for (HandledGuard *guard : {&guardA, &guardB}) doubles.name(guard->condition(), guard == &guardA ? "A" : "B");
        for (const char *service : {"ZYLOsapiHeap_reallocateMemoryInternal", "malloc"}) doubles.on(service).unnoted();
    }
    ~DoublesTest() override
    {
        doubles.heal();
        for (DDS_Condition *condition : {a, b}) DDS_WaitSet_detach_condition(waitSet, condition);
        EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
    }
    DoublesTest(const DoublesTest &) = delete;
    DoublesTest &operator=(const DoublesTest &) = delete;

    DDS_ReturnCode_t attach(DDS_Condition *condition) { return DDS_WaitSet_attach_condition(waitSet, condition); }
    DDS_ReturnCode_t mask(DDS_Condition *condition, bool takesPart = false)
    {
        return DDS_WaitSet_mask_condition(waitSet, condition, takesPart ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE);
    }
    /// The results of so many attachments of a condition that may be attached again and again.
    std::vector<DDS_ReturnCode_t> attachments(int count)
    {
        std::vector<DDS_ReturnCode_t> results;
        for (int i = 0; i < count; ++i) results.push_back(attach(a));
        return results;
    }

    static constexpr auto ok = DDS_RETCODE_OK;
    static constexpr auto usual = DDS_RETCODE_OUT_OF_RESOURCES;  ///< What attach_condition fails with.

    HandledGuard guardA, guardB;
    DDS_Condition *const a = guardA.condition();
    DDS_Condition *const b = guardB.condition();
    DDS_WaitSet *waitSet = DDS_WaitSet_new();
    LogCapture log;
    Doubles doubles;
};

// ---------------------------------------------------------------- what is noted

TEST_F(DoublesTest, calls_are_listed_in_order_with_what_tells_them_apart)
{
    EXPECT_EQ(attach(b), ok);
    EXPECT_EQ(attach(a), ok);
    EXPECT_EQ(mask(a), ok);
    EXPECT_EQ(mask(b, true), ok);
    EXPECT_THAT(doubles.calls(), ElementsAre("DDS_WaitSet_attach_condition(B)", "DDS_WaitSet_attach_condition(A)",
                                             "DDS_WaitSet_mask_condition(A, 0)", "DDS_WaitSet_mask_condition(B, 1)"));
    EXPECT_THAT(doubles.callsOf({"DDS_WaitSet_mask_condition"}),
                ElementsAre("DDS_WaitSet_mask_condition(A, 0)", "DDS_WaitSet_mask_condition(B, 1)"));
    EXPECT_THAT(doubles.callsOf({"DDS_WaitSet_mask_condition(B, 1)", "DDS_WaitSet_attach_condition(A)"}),
                ElementsAre("DDS_WaitSet_attach_condition(A)", "DDS_WaitSet_mask_condition(B, 1)"));
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 2);
    EXPECT_EQ(doubles.count("DDS_WaitSet_mask_condition(A, 0)"), 1);
    EXPECT_EQ(doubles.count("DDS_WaitSet_mask_condition(A, 1)"), 0);
    EXPECT_EQ(doubles.count("DDS_WaitSet_detach_condition"), 0);
    doubles.clear();
    EXPECT_THAT(doubles.calls(), IsEmpty());
}

TEST_F(DoublesTest, arguments_read_as_names_texts_and_numbers)
{
    HandledGuard stranger;
    EXPECT_EQ(attach(stranger.condition()), ok);
    EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, stranger.condition()), ok);
    EXPECT_EQ(attach(nullptr), DDS_RETCODE_BAD_PARAMETER);
    doubles.on("DDS_WaitSet_waitI").instead([] { return DDS_RETCODE_TIMEOUT; });
    const DDS_Duration_t oneAndABit = {1, 500};
    for (const DDS_Duration_t *timeout :
         {&oneAndABit, &DDS_DURATION_INFINITE, static_cast<DDS_Duration_t const *>(nullptr)})
        EXPECT_EQ(DDS_WaitSet_waitI(waitSet, nullptr, timeout), DDS_RETCODE_TIMEOUT);
    char text[8];
    EXPECT_EQ(ZYLOsapiUtility_strncpy(text, sizeof text, "source", 3), text);
    EXPECT_THAT(doubles.calls(),
                ElementsAre("DDS_WaitSet_attach_condition(an unnamed condition)",
                            "DDS_WaitSet_detach_condition(an unnamed condition)", "DDS_WaitSet_attach_condition(null)",
                            "DDS_WaitSet_waitI({1 500})", "DDS_WaitSet_waitI(infinite)", "DDS_WaitSet_waitI(null)",
                            "ZYLOsapiUtility_strncpy(8, source, 3)"));
}

TEST_F(DoublesTest, a_rule_says_how_calls_are_noted_and_the_latest_rule_wins)
{
    doubles.on("DDS_WaitSet_attach_condition").as("attach");
    doubles.on("DDS_WaitSet_attach_condition").with(b).unnoted();
    doubles.on("DDS_WaitSet_mask_condition").as([](DDS_WaitSet *, DDS_Condition *condition, DDS_Boolean takesPart) {
        return (takesPart != DDS_BOOLEAN_FALSE ? "unmask " : "mask ") + doubled::nameOf(condition);
    });
    EXPECT_EQ(attach(a), ok);
    EXPECT_EQ(attach(b), ok);
    EXPECT_EQ(mask(a), ok);
    EXPECT_EQ(mask(b, true), ok);
    EXPECT_THAT(doubles.calls(), ElementsAre("attach", "mask A", "unmask B"));
    EXPECT_EQ(doubles.count("attach"), 1);
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 1) << "under its own name as well";
    doubles.heal();
    doubles.clear();
    EXPECT_EQ(attach(a), ok);
    EXPECT_THAT(doubles.calls(), ElementsAre("attach")) << "how calls are noted outlasts healing";
}

TEST_F(DoublesTest, nothing_is_noted_by_a_master_that_another_one_hides_or_that_is_gone)
{
    {
        Doubles newer;
        newer.on("DDS_WaitSet_attach_condition").fail();
        EXPECT_EQ(attach(a), usual);
        EXPECT_EQ(newer.count("DDS_WaitSet_attach_condition"), 1);
    }
    EXPECT_THAT(doubles.calls(), IsEmpty());
    EXPECT_EQ(attach(a), ok);
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 1);
}

// ---------------------------------------------------------------- what fails

TEST_F(DoublesTest, a_call_fails_once_with_the_usual_value_and_does_nothing)
{
    doubles.on("DDS_WaitSet_attach_condition").fail(1);
    EXPECT_EQ(attach(a), usual);
    EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, a), DDS_RETCODE_PRECONDITION_NOT_MET) << "it was never attached";
    EXPECT_THAT(attachments(2), ElementsAre(ok, ok));
    EXPECT_EQ(doubles.failedCount(), 1);
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 3) << "the one that failed, too";
}

TEST_F(DoublesTest, the_nth_call_fails_counted_from_the_plan)
{
    EXPECT_THAT(attachments(2), ElementsAre(ok, ok));
    doubles.on("DDS_WaitSet_attach_condition").fail(2);
    EXPECT_THAT(attachments(4), ElementsAre(ok, usual, ok, ok));
}

TEST_F(DoublesTest, plans_add_up)
{
    doubles.on("DDS_WaitSet_attach_condition").fail(1).fail(3, DDS_RETCODE_TIMEOUT);
    doubles.on("DDS_WaitSet_attach_condition").fail(4);
    EXPECT_THAT(attachments(5), ElementsAre(usual, ok, DDS_RETCODE_TIMEOUT, usual, ok));
    EXPECT_EQ(doubles.failedCount(), 3);
}

TEST_F(DoublesTest, failing_from_a_call_on_lasts_until_it_is_healed)
{
    doubles.on("DDS_WaitSet_attach_condition").failFrom(2);
    EXPECT_THAT(attachments(4), ElementsAre(ok, usual, usual, usual));
    doubles.on("DDS_WaitSet_mask_condition").failFrom(1);
    doubles.on("DDS_WaitSet_attach_condition").heal();
    EXPECT_EQ(attach(a), ok);
    EXPECT_EQ(mask(a), DDS_RETCODE_ILLEGAL_OPERATION) << "another service stays as it is";
    doubles.heal();
    EXPECT_EQ(mask(a), ok);
}

TEST_F(DoublesTest, what_is_planned_for_good_outlasts_healing)
{
    doubles.on("DDS_WaitSet_attach_condition").forGood().instead([] { return DDS_RETCODE_NO_DATA; });
    doubles.on("DDS_WaitSet_attach_condition").failFrom(1);
    EXPECT_EQ(attach(a), usual);
    doubles.on("DDS_WaitSet_attach_condition").heal();
    EXPECT_EQ(attach(a), DDS_RETCODE_NO_DATA);
    doubles.heal();
    EXPECT_EQ(attach(a), DDS_RETCODE_NO_DATA);
}

TEST_F(DoublesTest, a_chosen_value_is_what_the_service_returns)
{
    doubles.on("DDS_WaitSet_attach_condition").fail(1, DDS_RETCODE_TIMEOUT).failFrom(2, DDS_RETCODE_NO_DATA);
    EXPECT_THAT(attachments(3), ElementsAre(DDS_RETCODE_TIMEOUT, DDS_RETCODE_NO_DATA, DDS_RETCODE_NO_DATA));
    guardA.trigger();
    doubles.on("DDS_Condition_get_trigger_value").fail(1, 0).fail(2, DDS_Boolean{7});
    EXPECT_EQ(DDS_Condition_get_trigger_value(a), 0) << "a plain int for a small number";
    EXPECT_EQ(DDS_Condition_get_trigger_value(a), 7);
    char text[8];
    doubles.on("ZYLOsapiUtility_strncpy").fail(1, nullptr);
    EXPECT_EQ(ZYLOsapiUtility_strncpy(text, sizeof text, "source", 3), nullptr);
}

TEST_F(DoublesTest, a_struct_is_returned_as_well)
{
    DDS_ConditionHandler chosen = {};
    chosen.handler_data = &chosen;
    doubles.on("DDS_Condition_get_handler").fail(1).fail(2, chosen);
    EXPECT_EQ(DDS_Condition_get_handler(a).handler_data, nullptr);
    EXPECT_EQ(DDS_Condition_get_handler(a).handler_data, &chosen);
    EXPECT_EQ(DDS_Condition_get_handler(a).handler_data, &guardA);
}

TEST_F(DoublesTest, a_rule_counts_only_the_calls_that_it_speaks_of)
{
    doubles.on("DDS_WaitSet_mask_condition").with(b).fail(2);
    doubles.on("DDS_WaitSet_mask_condition").with(a, 1).fail(1, DDS_RETCODE_TIMEOUT);
    doubles.on("DDS_WaitSet_attach_condition")
        .when([&](DDS_WaitSet *, DDS_Condition *condition) { return condition == a; })
        .fail(1);
    EXPECT_EQ(attach(b), ok);
    EXPECT_EQ(attach(a), usual);
    EXPECT_EQ(attach(a), ok);
    EXPECT_EQ(mask(b), ok);
    EXPECT_EQ(mask(a), ok) << "not with 1";
    EXPECT_EQ(mask(a, true), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(mask(b), DDS_RETCODE_ILLEGAL_OPERATION);
}

TEST_F(DoublesTest, a_rule_can_speak_of_a_text)
{
    Doubles newer;
    newer.on("ZYLOsapiHeap_reallocateMemoryInternal").with("second type").fail();
    char *const first = ZYLOsapiHeap_allocateStructure<char>("first type");
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(ZYLOsapiHeap_allocateStructure<char>("second type"), nullptr);
    ZYLOsapiHeap_freeStructure(first);
    EXPECT_THAT(newer.callsOf({"ZYLOsapiHeap_reallocateMemoryInternal"}),
                ElementsAre("ZYLOsapiHeap_reallocateMemoryInternal(first type)",
                            "ZYLOsapiHeap_reallocateMemoryInternal(second type)"));
}

TEST_F(DoublesTest, a_leave_that_fails_has_left_all_the_same)
{
    VESKWorker *const worker = DDS_AsyncWaitSetGlobals_getWorker(DDS_AsyncWaitSetGlobals_get_instance());
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
    VESKExclusiveArea *const area = doubles.name(aws->_criticalSectionEA, "critical section");
    doubles.clear();
    doubles.on("VESKWorker_enterExclusiveArea").with(area).fail(2);
    doubles.on("VESKWorker_leaveExclusiveArea").with(area).fail(1);
    EXPECT_NE(VESKWorker_enterExclusiveArea(worker, nullptr, area), 0);
    EXPECT_EQ(VESKWorker_leaveExclusiveArea(worker, nullptr, area), 0);
    EXPECT_EQ(VESKWorker_getExclusiveAreaDepth(worker, area), 0);
    EXPECT_EQ(VESKWorker_enterExclusiveArea(worker, nullptr, area), 0);
    EXPECT_EQ(VESKWorker_getExclusiveAreaDepth(worker, area), 0) << "an enter that fails has not entered";
    EXPECT_THAT(doubles.calls(), ElementsAre("VESKWorker_enterExclusiveArea(critical section)",
                                             "VESKWorker_leaveExclusiveArea(critical section)",
                                             "VESKWorker_enterExclusiveArea(critical section)"));
    doubles.heal();
    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
}

TEST_F(DoublesTest, what_stands_for_dots_reaches_the_service)
{
    char text[32];
    EXPECT_EQ(ZYLOsapiUtility_snprintf(text, sizeof text, "%s %d", "seven", 7), 7);
    EXPECT_STREQ(text, "seven 7");
    doubles.on("ZYLOsapiUtility_snprintf").fail();
    EXPECT_EQ(ZYLOsapiUtility_snprintf(text, sizeof text, "%d", 7), -1);
    EXPECT_THAT(doubles.calls(), ElementsAre("ZYLOsapiUtility_snprintf(%s %d)", "ZYLOsapiUtility_snprintf(%d)"));
}

TEST_F(DoublesTest, the_kit_itself_needs_no_doubled_memory)
{
    Doubles newer;
    newer.on("malloc").failFrom(1);
    void *const none = std::malloc(10);
    newer.heal();
    void *const some = std::malloc(20);
    EXPECT_EQ(none, nullptr);
    EXPECT_NE(some, nullptr);
    std::free(some);
    EXPECT_EQ(newer.count("malloc(10)"), 1);
    EXPECT_EQ(newer.count("malloc(20)"), 1);
}

// ---------------------------------------------------------------- actions

TEST_F(DoublesTest, actions_run_around_the_call_with_its_arguments_or_without)
{
    std::vector<std::string> seen;
    doubles.on("DDS_WaitSet_attach_condition")
        .before([&](DDS_WaitSet *to, DDS_Condition *condition) {
            EXPECT_EQ(to, waitSet);
            seen.push_back("before " + doubled::nameOf(condition) + " " +
                           doubled::nameOf(DDS_WaitSet_detach_condition(to, condition)));
        })
        .after([&] { seen.push_back("after " + doubled::nameOf(DDS_WaitSet_detach_condition(waitSet, b))); });
    EXPECT_EQ(attach(b), ok);
    EXPECT_THAT(seen, ElementsAre("before B DDS_RETCODE_PRECONDITION_NOT_MET", "after DDS_RETCODE_OK"));
    EXPECT_EQ(attach(b), ok);
    EXPECT_EQ(seen.size(), 4U) << "at each call";
    EXPECT_THAT(doubles.calls()[1], "DDS_WaitSet_detach_condition(B)") << "noted after the call that it runs in";
}

TEST_F(DoublesTest, an_action_can_run_at_one_call_only)
{
    std::vector<int> seen;
    doubles.on("DDS_WaitSet_attach_condition").before(2, [&] { seen.push_back(1); }).after(2, [&] {
        seen.push_back(2);
    });
    EXPECT_EQ(attach(a), ok);
    EXPECT_THAT(seen, IsEmpty());
    EXPECT_THAT(attachments(2), ElementsAre(ok, ok));
    EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST_F(DoublesTest, an_action_can_stand_in_for_the_service_and_call_it)
{
    doubles.on("DDS_WaitSet_attach_condition")
        .instead(1, [] { return DDS_RETCODE_NO_DATA; })
        .instead(2, [&](DDS_WaitSet *to, DDS_Condition *condition) {
            EXPECT_EQ(condition, a);
            return Doubles::real<decltype(DDS_WaitSet_attach_condition)>("DDS_WaitSet_attach_condition")(to, b);
        });
    EXPECT_EQ(attach(a), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(attach(a), ok);
    EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, a), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, b), ok);
    EXPECT_EQ(attach(a), ok) << "the script is over";
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 3) << "the call of the service itself is none";
}

TEST_F(DoublesTest, a_service_without_a_result_can_be_left_out)
{
    int runs = 0;
    doubles.on("DDS_WaitSet_end_waitI").instead([&](DDS_WaitSet *) { ++runs; });
    DDS_WaitSet_end_waitI(waitSet);
    DDS_WaitSet_end_waitI(nullptr);
    EXPECT_EQ(runs, 2);
    EXPECT_THAT(doubles.calls(), ElementsAre("DDS_WaitSet_end_waitI", "DDS_WaitSet_end_waitI"));
}

TEST_F(DoublesTest, the_latest_plan_decides_a_call)
{
    doubles.on("DDS_WaitSet_attach_condition").instead([] { return DDS_RETCODE_NO_DATA; });
    doubles.on("DDS_WaitSet_attach_condition").fail(2);
    EXPECT_THAT(attachments(3), ElementsAre(DDS_RETCODE_NO_DATA, usual, DDS_RETCODE_NO_DATA));
    EXPECT_EQ(doubles.failedCount(), 1);
}

TEST_F(DoublesTest, an_action_that_calls_its_own_service_is_not_run_again_by_the_nth_plan)
{
    doubles.on("DDS_WaitSet_attach_condition").before(1, [&] { EXPECT_EQ(attach(b), ok); });
    EXPECT_EQ(attach(a), ok);
    EXPECT_THAT(doubles.calls(), ElementsAre("DDS_WaitSet_attach_condition(A)", "DDS_WaitSet_attach_condition(B)"));
}

// ---------------------------------------------------------------- threads

TEST_F(DoublesTest, another_thread_is_neither_noted_nor_made_to_fail)
{
    doubles.on("DDS_WaitSet_attach_condition").failFrom(1);
    std::thread([&] { EXPECT_EQ(attach(a), ok); }).join();
    EXPECT_THAT(doubles.calls(), IsEmpty());
    EXPECT_EQ(attach(b), usual);
}

TEST_F(DoublesTest, a_rule_for_every_thread_speaks_of_another_thread_too)
{
    doubles.on("DDS_WaitSet_attach_condition").fail(1, DDS_RETCODE_NO_DATA);
    doubles.on("DDS_WaitSet_attach_condition").with(a).onEveryThread().fail(1, DDS_RETCODE_TIMEOUT);
    std::thread([&] {
        EXPECT_EQ(attach(a), DDS_RETCODE_TIMEOUT);
        EXPECT_EQ(attach(b), ok) << "not the condition";
        EXPECT_EQ(mask(b), ok) << "not the service";
    }).join();
    EXPECT_THAT(doubles.calls(), ElementsAre("DDS_WaitSet_attach_condition(A)"));
    EXPECT_EQ(attach(a), DDS_RETCODE_NO_DATA) << "the first call of the test's own thread";
}

TEST_F(DoublesTest, an_action_for_every_thread_holds_no_lock_of_the_kit)
{
    doubles.on("DDS_WaitSet_attach_condition").onEveryThread().before([] { EXPECT_EQ(asked->failedCount(), 0); });
    EXPECT_EQ(attach(b), ok);
    doubles.heal();
    // Each of the two waits for the other one inside its action.
    std::atomic<int> inside{0};
    doubles.on("DDS_WaitSet_attach_condition").onEveryThread().before([&] {
        ++inside;
        while (inside < 2) std::this_thread::yield();
    });
    std::thread other([&] { EXPECT_EQ(attach(a), ok); });
    EXPECT_EQ(attach(b), ok);
    other.join();
    EXPECT_EQ(inside, 2);
}

TEST_F(DoublesTest, the_calls_of_many_threads_are_all_counted)
{
    doubles.on("DDS_Condition_get_trigger_value").onEveryThread().fail(100, 7);
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 50; ++j) failed += DDS_Condition_get_trigger_value(a) == 7 ? 1 : 0;
        });
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(doubles.count("DDS_Condition_get_trigger_value"), 200);
    EXPECT_EQ(failed, 1);
}

// ---------------------------------------------------------------- a function of the test's own

doubled::LocalDouble<int(int, const char *)> &ownFunction()
{
    static doubled::LocalDouble<int(int, const char *)> function("own function", {.failure = -1, .shown = {1}});
    return function;
}

TEST_F(DoublesTest, a_function_that_the_test_hands_out_is_doubled_like_a_service)
{
    const auto call = [](int number) {
        return ownFunction().callOr([](int n, const char *) { return n; }, number, "x");
    };
    EXPECT_EQ(call(5), 5);
    doubles.on("own function").with(6).fail();
    EXPECT_EQ(call(5), 5);
    EXPECT_EQ(call(6), -1);
    EXPECT_THAT(doubles.calls(), ElementsAre("own function(x)", "own function(x)", "own function(x)"));
}

// ---------------------------------------------------------------- names

TEST_F(DoublesTest, failures_print_names)
{
    const DDS_Condition *const constant = a;
    EXPECT_EQ(testing::PrintToString(a), "A");
    EXPECT_EQ(testing::PrintToString(constant), "A");
    EXPECT_EQ(testing::PrintToString(std::vector<DDS_Condition *>{a, b, nullptr}), "{ A, B, null }");
    EXPECT_EQ(testing::PrintToString(waitSet), "an unnamed wait set");
    DDS_AsyncWaitSetThread thread = {};
    DDS_AWSTaskInfo request = {};
    DDS_AsyncWaitSetCompletionToken token = {};
    EXPECT_EQ(testing::PrintToString(&thread), "an unnamed thread record");
    EXPECT_EQ(testing::PrintToString(&request), "an unnamed request record");
    EXPECT_EQ(testing::PrintToString(&token), "an unnamed token");
    doubles.name(&token, "the token");
    EXPECT_EQ(testing::PrintToString(&token), "the token");
    EXPECT_EQ(testing::PrintToString(DDS_RETCODE_PRECONDITION_NOT_MET), "DDS_RETCODE_PRECONDITION_NOT_MET");
    EXPECT_EQ(testing::PrintToString(static_cast<DDS_ReturnCode_t>(13)), "13");
}

TEST_F(DoublesTest, a_name_goes_with_the_master_that_gave_it)
{
    {
        Doubles newer;
        newer.name(waitSet, "W");
        EXPECT_EQ(doubled::nameOf(waitSet), "W");
    }
    EXPECT_EQ(doubled::nameOf(waitSet), "an unnamed object");
    EXPECT_EQ(doubled::nameOf(a), "A");
}

// ---------------------------------------------------------------- misuse

TEST_F(DoublesTest, a_service_that_the_program_does_not_replace_fails_the_test)
{
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_new").fail(1).as("x").heal(),
                            "this program does not replace DDS_WaitSet_new: put the line "
                            "`// Replaces: DDS_WaitSet_new` at the top of the test file");
    EXPECT_NONFATAL_FAILURE(EXPECT_EQ(asked->count("DDS_WaitSet_new(A)"), 0), "does not replace DDS_WaitSet_new:");
    EXPECT_NONFATAL_FAILURE(asked->callsOf({"own text", "platform_park"}), "does not replace platform_park:");
}

TEST_F(DoublesTest, an_action_of_other_types_fails_the_test)
{
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_attach_condition").before([](DDS_Condition *) {}),
                            "DDS_WaitSet_attach_condition wants void (DDS_WaitSet*, DDS_Condition*) here, not "
                            "std::function<void (DDS_Condition*)>");
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_attach_condition").instead([] { return 0; }),
                            "wants DDS_ReturnCode_t (DDS_WaitSet*, DDS_Condition*) here, not std::function<int ()>");
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_attach_condition").when([](int) { return true; }),
                            "wants bool (DDS_WaitSet*, DDS_Condition*) here");
    EXPECT_EQ(attach(a), ok);
}

TEST_F(DoublesTest, a_value_of_another_type_fails_the_test)
{
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_attach_condition").fail(1, 5),
                            "DDS_WaitSet_attach_condition wants DDS_ReturnCode_t here, not int");
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_Condition_get_trigger_value").fail(1, 256),
                            "wants unsigned char here, not int");
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_end_waitI").fail(),
                            "DDS_WaitSet_end_waitI returns nothing, so it cannot fail");
    EXPECT_NONFATAL_FAILURE(asked->on("DDS_WaitSet_attach_condition").fail(0), "calls are counted from 1, not from 0");
    EXPECT_EQ(attach(a), ok);
}

TEST_F(DoublesTest, a_complaint_names_the_line_of_the_test)
{
    testing::TestPartResultArray failures;
    const int line = __LINE__ + 3;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(&failures);
        doubles.on("DDS_WaitSet_new");
    }
    ASSERT_EQ(failures.size(), 1);
    EXPECT_EQ(failures.GetTestPartResult(0).line_number(), line);
    EXPECT_STREQ(failures.GetTestPartResult(0).file_name(), __FILE__);
}

TEST_F(DoublesTest, the_service_itself_is_found_by_its_name_and_type_only)
{
    EXPECT_THROW(Doubles::real<void(DDS_WaitSet *)>("DDS_WaitSet_delete"), std::logic_error);
    EXPECT_THROW(Doubles::real<DDS_ReturnCode_t(DDS_WaitSet *)>("DDS_WaitSet_new"), std::logic_error);
    EXPECT_NE(Doubles::real<DDS_ReturnCode_t(DDS_WaitSet *)>("DDS_WaitSet_delete"), &DDS_WaitSet_delete);
}

}  // namespace
