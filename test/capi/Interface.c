/// @file
/// Every public operation, called from C: it links, and does what its comment says in the simplest case.
#include <dds_c/dds_c_asyncwaitset.h>
#include <dds_c/dds_c_asyncwaitset_impl.h>
#include <dds_c/dds_c_log.h>
#include <dds_c/dds_c_waitset.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

#define CHECK(condition_)                                                    \
    do {                                                                     \
        if (!(condition_)) {                                                 \
            fprintf(stderr, "line %d: failed: %s\n", __LINE__, #condition_); \
            ++failures;                                                      \
        }                                                                    \
    } while (0)
#define CHECK_OK(call_) CHECK((call_) == DDS_RETCODE_OK)

static void countRecord(void *sinkData, const ZYLLogRecord *record)
{
    if (strcmp(record->text, "") != 0) ++*(int *)sinkData;
}

static void useLog(void)
{
    int records = 0;
    ZYLLog_setSink(countRecord, &records);
    ZYLLog_g_detectPrecondition = 1;
    CHECK(DDS_Condition_dispatch(NULL) == DDS_RETCODE_BAD_PARAMETER);
    CHECK(records == 1);
    const uint32_t levels = DDSLog_g_instrumentationMask;
    CHECK(levels == 0x3);
    DDSLog_setInstrumentationMask(0);
    CHECK(DDSLog_g_instrumentationMask == 0);
    CHECK(DDS_Condition_dispatch(NULL) == DDS_RETCODE_BAD_PARAMETER);
    DDSLog_setInstrumentationMask(levels);
    CHECK(DDSLog_g_submoduleMask == 0xFFFFFFFF);
    CHECK(ZYLLog_g_categoryMask[2] == 0);
    CHECK(records == 1);
    ZYLLog_g_detectPrecondition = 0;
    ZYLLog_g_preconditionDetected = 0;
    ZYLLog_onAssertBreakpoint();
    ZYLLog_setSink(NULL, NULL);
}

static void countCall(void *handlerData, DDS_Condition *condition)
{
    (void)condition;
    ++*(int *)handlerData;
}

static void useConditions(void)
{
    int calls = 0;
    const DDS_ConditionHandler handler = {&calls, countCall};
    DDS_GuardCondition *guard = DDS_GuardCondition_new();
    DDS_Condition *condition = DDS_GuardCondition_as_condition(guard);
    CHECK_OK(DDS_Condition_set_handler(condition, &handler));
    CHECK(DDS_Condition_get_handler(condition).handler_data == &calls);
    CHECK_OK(DDS_Condition_dispatch(condition));
    CHECK(calls == 0);
    CHECK_OK(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE));
    CHECK(DDS_GuardCondition_get_trigger_value(guard) && DDS_Condition_get_trigger_value(condition));
    CHECK_OK(DDS_Condition_dispatch(condition));
    CHECK(calls == 1);
    CHECK_OK(DDS_GuardCondition_delete(guard));

    DDS_CountingCondition *counting = DDS_CountingCondition_new();
    CHECK(DDS_CountingCondition_as_condition(counting) != NULL);
    CHECK_OK(DDS_CountingCondition_increment(counting, 3));
    CHECK_OK(DDS_CountingCondition_decrement(counting, 1));
    CHECK(DDS_CountingCondition_get_count(counting) == 2);
    CHECK_OK(DDS_CountingCondition_delete(counting));
}

static void useSequences(void)
{
    const DDS_Long values[] = {3, 1, 4};
    DDS_Long copied[3] = {0, 0, 0};
    DDS_LongSeq one = DDS_SEQUENCE_INITIALIZER;
    DDS_LongSeq other;
    CHECK(DDS_LongSeq_initialize(&other));
    CHECK(DDS_LongSeq_from_array(&one, values, 3));
    CHECK(DDS_LongSeq_copy(&other, &one) == &other);
    CHECK(DDS_LongSeq_to_array(&other, copied, 3));
    CHECK(memcmp(values, copied, sizeof values) == 0);
    CHECK(DDS_LongSeq_get_length(&other) == 3 && DDS_LongSeq_get(&other, 2) == 4);
    CHECK(DDS_LongSeq_finalize(&one));
    CHECK(DDS_LongSeq_finalize(&other));
    CHECK(DDS_TYPE_ALLOCATION_PARAMS_DEFAULT.allocate_memory && DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT.delete_pointers);
}

static void useWaitSet(void)
{
    DDS_WaitSetProperty_t property = DDS_WAITSET_PROPERTY_DEFAULT;
    DDS_ConditionSeq active = DDS_SEQUENCE_INITIALIZER;
    DDS_GuardCondition *guard = DDS_GuardCondition_new();
    DDS_WaitSet *waitSet = DDS_WaitSet_new();
    CHECK_OK(DDS_WaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(guard)));
    CHECK(DDS_WaitSet_wait(waitSet, &active, &DDS_DURATION_ZERO) == DDS_RETCODE_TIMEOUT);
    CHECK_OK(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE));
    CHECK_OK(DDS_WaitSet_wait(waitSet, &active, &DDS_DURATION_INFINITE));
    CHECK(DDS_ConditionSeq_get_length(&active) == 1);
    CHECK(DDS_ConditionSeq_get(&active, 0) == DDS_GuardCondition_as_condition(guard));
    CHECK_OK(DDS_WaitSet_get_conditions(waitSet, &active));
    CHECK(DDS_ConditionSeq_get_length(&active) == 1);
    CHECK_OK(DDS_WaitSet_detach_condition(waitSet, DDS_GuardCondition_as_condition(guard)));
    property.max_event_count = 2;
    CHECK_OK(DDS_WaitSet_set_property(waitSet, &property));
    property.max_event_count = 0;
    CHECK_OK(DDS_WaitSet_get_property(waitSet, &property));
    CHECK(property.max_event_count == 2);
    CHECK_OK(DDS_WaitSet_delete(waitSet));
    waitSet = DDS_WaitSet_new_with_property(&property);
    CHECK(waitSet != NULL);
    CHECK_OK(DDS_WaitSet_delete(waitSet));
    CHECK_OK(DDS_GuardCondition_delete(guard));
    CHECK(DDS_ConditionSeq_finalize(&active));
}

/// The handler and what it learns.
typedef struct Visit {
    DDS_AsyncWaitSet *waitSet;
    DDS_GuardCondition *guard;
    DDS_ReturnCode_t unlocked;
} Visit;

static void visit(void *handlerData, DDS_Condition *condition)
{
    Visit *self = handlerData;
    DDS_GuardCondition_set_trigger_value(self->guard, DDS_BOOLEAN_FALSE);
    self->unlocked = DDS_AsyncWaitSet_unlock_condition(self->waitSet, condition);
}

static void useProperties(DDS_AsyncWaitSet *waitSet)
{
    DDS_AsyncWaitSetProperty_t property;
    DDS_AsyncWaitSetProperty_t copy;
    CHECK_OK(DDS_AsyncWaitSetProperty_t_initialize(&property));
    CHECK_OK(DDS_AsyncWaitSetProperty_t_initialize(&copy));
    CHECK_OK(DDS_AsyncWaitSet_get_property(waitSet, &property));
    CHECK(property.thread_pool_size == 2);
    CHECK(DDS_AsyncWaitSetProperty_t_copy(&copy, &property) == &copy);
    CHECK_OK(DDS_AsyncWaitSetProperty_t_finalize(&copy));
    CHECK_OK(DDS_AsyncWaitSetProperty_t_finalize(&property));
}

static void useStats(DDS_AsyncWaitSet *waitSet, DDS_Long threads)
{
    DDS_AsyncWaitSetThreadPoolStats stats = DDS_AsyncWaitSetThreadPoolStats_INITIALIZER;
    DDS_AsyncWaitSetThreadPoolStats copy;
    DDS_AsyncWaitSetThreadPoolStats_initialize(&copy);
    DDS_AsyncWaitSet_get_thread_pool_statsI(waitSet, &stats);
    CHECK(ZYLOsapiThreadCpuInfoSeq_get_length(&stats.thread_pool_info) == threads);
    CHECK(DDS_AsyncWaitSetThreadPoolStats_copy(&copy, &stats) == &copy);
    CHECK(ZYLOsapiThreadCpuInfoSeq_get_length(&copy.thread_pool_info) == threads);
    DDS_AsyncWaitSetThreadPoolStats_finalize(&copy);
    DDS_AsyncWaitSetThreadPoolStats_finalize(&stats);
}

/// Suspend and resume bring the pool to rest: the handler that was running has ended afterwards.
static void useRequests(Visit *self, DDS_Condition *condition)
{
    DDS_AsyncWaitSet *waitSet = self->waitSet;
    DDS_AsyncWaitSetCompletionToken *const forgotten = DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE;
    DDS_AsyncWaitSetCompletionToken *token = DDS_AsyncWaitSet_create_completion_token(waitSet);
    DDS_ConditionSeq attached = DDS_SEQUENCE_INITIALIZER;
    CHECK_OK(DDS_AsyncWaitSet_start_with_completion_token(waitSet, token));
    CHECK_OK(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE));
    CHECK(DDS_AsyncWaitSet_is_started(waitSet));
    useStats(waitSet, 2);
    CHECK_OK(DDS_AsyncWaitSet_attach_condition_with_completion_token(waitSet, condition, forgotten));
    CHECK_OK(DDS_GuardCondition_set_trigger_value(self->guard, DDS_BOOLEAN_TRUE));
    CHECK_OK(DDS_AsyncWaitSet_attach_condition(waitSet, condition));
    while (DDS_GuardCondition_get_trigger_value(self->guard)) sched_yield();
    CHECK_OK(DDS_AsyncWaitSet_suspend_with_completion_token(waitSet, token));
    CHECK_OK(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE));
    CHECK_OK(self->unlocked);
    CHECK_OK(DDS_AsyncWaitSet_resume_with_completion_token(waitSet,
                                                           DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT));
    CHECK_OK(DDS_AsyncWaitSet_get_conditions(waitSet, &attached));
    CHECK(DDS_ConditionSeq_get_length(&attached) == 1);
    CHECK_OK(DDS_AsyncWaitSet_detach_condition_with_completion_token(waitSet, condition, forgotten));
    CHECK_OK(DDS_AsyncWaitSet_detach_condition(waitSet, condition));
    CHECK_OK(DDS_AsyncWaitSet_stop_with_completion_token(waitSet, token));
    CHECK_OK(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE));
    CHECK_OK(DDS_AsyncWaitSet_delete_completion_token(waitSet, token));
    CHECK_OK(DDS_AsyncWaitSet_start(waitSet));
    CHECK_OK(DDS_AsyncWaitSet_stop(waitSet));
    CHECK(DDS_ConditionSeq_finalize(&attached));
}

static void useAsyncWaitSet(void)
{
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    const DDS_AsyncWaitSetListener listener = {NULL, NULL, NULL, NULL, NULL, NULL};
    Visit self = {NULL, DDS_GuardCondition_new(), DDS_RETCODE_ERROR};
    const DDS_ConditionHandler handler = {&self, visit};
    DDS_Condition *condition = DDS_GuardCondition_as_condition(self.guard);
    CHECK_OK(DDS_Condition_set_handler(condition, &handler));
    property.thread_pool_size = 2;
    CHECK_OK(DDS_AsyncWaitSet_delete(DDS_AsyncWaitSet_new(&property)));
    CHECK_OK(DDS_AsyncWaitSet_delete(DDS_AsyncWaitSet_new_with_listener(&property, &listener)));
    self.waitSet = DDS_AsyncWaitSet_new_with_thread_factory(&property, &listener, &DDS_THREAD_FACTORY_USE_DEFAULT);
    CHECK(self.waitSet != NULL);
    useProperties(self.waitSet);
    useRequests(&self, condition);
    CHECK_OK(DDS_AsyncWaitSet_delete(self.waitSet));
    CHECK_OK(DDS_GuardCondition_delete(self.guard));
}

int main(void)
{
    useLog();
    useConditions();
    useSequences();
    useWaitSet();
    useAsyncWaitSet();
    return failures == 0 ? 0 : 1;
}
