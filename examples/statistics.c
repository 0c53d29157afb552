/// @file
/// Statistics: the CPU time of every pool thread, read while the pool works.
#include <dds_c/dds_c_asyncwaitset_impl.h>

#include "Example.h"

/// Work for a handler, and a count of how often it was done.
typedef struct Work {
    DDS_GuardCondition *guard;
    ExampleCounter done;
    volatile unsigned result;
} Work;

static void work(void *handlerData, DDS_Condition *condition)
{
    Work *self = handlerData;
    (void)condition;
    DDS_GuardCondition_set_trigger_value(self->guard, DDS_BOOLEAN_FALSE);
    for (unsigned i = 0; i < 2000000; ++i) self->result += i;
    exampleCount(&self->done);
}

/// Print one line for each pool thread.
/// Returns: the sum of their times in seconds.
static double print(DDS_AsyncWaitSetThreadPoolStats *stats)
{
    double sum = 0;
    for (DDS_Long i = 0; i < ZYLOsapiThreadCpuInfoSeq_get_length(&stats->thread_pool_info); ++i) {
        const ZYLOsapiThreadCpuInfo *info = ZYLOsapiThreadCpuInfoSeq_get_reference(&stats->thread_pool_info, i);
        const double time = (double)info->cpuTime.sec + (double)info->cpuTime.frac / 4294967296.0;
        printf("pool thread %d (id %llu): %.6f s\n", i, (unsigned long long)info->id, time);
        sum += time;
    }
    return sum;
}

int main(void)
{
    Work self = {NULL, EXAMPLE_COUNTER_INITIALIZER, 0};
    const DDS_ConditionHandler handler = {&self, work};
    self.guard = DDS_GuardCondition_new();
    EXAMPLE_CHECK(self.guard != NULL);
    EXAMPLE_OK(DDS_Condition_set_handler(DDS_GuardCondition_as_condition(self.guard), &handler));
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = 2;
    DDS_AsyncWaitSet *waitSet = DDS_AsyncWaitSet_new(&property);
    EXAMPLE_CHECK(waitSet != NULL);
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(self.guard)));

    DDS_AsyncWaitSetThreadPoolStats before = DDS_AsyncWaitSetThreadPoolStats_INITIALIZER;
    DDS_AsyncWaitSetThreadPoolStats now = DDS_AsyncWaitSetThreadPoolStats_INITIALIZER;
    DDS_AsyncWaitSet_get_thread_pool_statsI(waitSet, &now);
    EXAMPLE_CHECK(ZYLOsapiThreadCpuInfoSeq_get_length(&now.thread_pool_info) == 0);  // no threads yet, but room

    EXAMPLE_OK(DDS_AsyncWaitSet_start(waitSet));
    DDS_AsyncWaitSet_get_thread_pool_statsI(waitSet, &now);
    EXAMPLE_CHECK(ZYLOsapiThreadCpuInfoSeq_get_length(&now.thread_pool_info) == 2);
    EXAMPLE_CHECK(DDS_AsyncWaitSetThreadPoolStats_copy(&before, &now) == &before);
    for (int round = 1; round <= 20; ++round) {
        EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(self.guard, DDS_BOOLEAN_TRUE));
        exampleAwait(&self.done, round);
    }
    DDS_AsyncWaitSet_get_thread_pool_statsI(waitSet, &now);  // into the same memory

    printf("before the work:\n");
    const double sumBefore = print(&before);
    printf("after it:\n");
    EXAMPLE_CHECK(print(&now) > sumBefore);

    DDS_AsyncWaitSetThreadPoolStats_finalize(&before);
    DDS_AsyncWaitSetThreadPoolStats_finalize(&now);
    EXAMPLE_OK(DDS_AsyncWaitSet_delete(waitSet));
    EXAMPLE_OK(DDS_GuardCondition_delete(self.guard));
    return 0;
}
