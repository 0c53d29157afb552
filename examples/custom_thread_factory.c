/// @file
/// A thread factory of the application's own: it decides how the pool threads are made, and knows them all.
#include <string.h>

#include "Example.h"

enum { poolSize = 3 };

/// The factory's data. The wait set keeps a copy of the factory, and only points here.
typedef struct Workshop {
    pthread_mutex_t mutex;  ///< Protects the two numbers below.
    int created;
    int joined;
} Workshop;

/// A thread of the workshop; its address is the handle.
typedef struct Worker {
    pthread_t thread;
    char name[32];
    DDS_ThreadFactory_OnSpawnedFunction body;
    void *parameter;
} Worker;

static void *runWorker(void *argument)
{
    Worker *worker = argument;
    return worker->body(worker->parameter);
}

static void *createThread(void *factoryData, const char *name, const struct DDS_ThreadSettings_t *settings,
                          DDS_ThreadFactory_OnSpawnedFunction body, void *parameter)
{
    Workshop *workshop = factoryData;
    (void)settings;  // The place for a scheduling class, a stack of one's own, a NUMA node ...
    Worker *worker = malloc(sizeof *worker);
    if (worker == NULL) return NULL;
    snprintf(worker->name, sizeof worker->name, "%s", name);
    worker->body = body;
    worker->parameter = parameter;
    // Null promises that no thread was started, now or later.
    if (pthread_create(&worker->thread, NULL, runWorker, worker) != 0) {
        free(worker);
        return NULL;
    }
    pthread_mutex_lock(&workshop->mutex);
    ++workshop->created;
    printf("created thread %d: %s\n", workshop->created, strlen(worker->name) > 0 ? worker->name : "(no name)");
    pthread_mutex_unlock(&workshop->mutex);
    return worker;
}

/// Must join: afterwards the wait set frees what the thread used.
static void deleteThread(void *factoryData, void *thread)
{
    Workshop *workshop = factoryData;
    Worker *worker = thread;
    EXAMPLE_CHECK(pthread_join(worker->thread, NULL) == 0);
    free(worker);
    pthread_mutex_lock(&workshop->mutex);
    ++workshop->joined;
    pthread_mutex_unlock(&workshop->mutex);
}

typedef struct Job {
    DDS_GuardCondition *guard;
    ExampleCounter done;
} Job;

static void doJob(void *handlerData, DDS_Condition *condition)
{
    Job *job = handlerData;
    (void)condition;
    DDS_GuardCondition_set_trigger_value(job->guard, DDS_BOOLEAN_FALSE);
    printf("the handler runs on a thread of the workshop\n");
    exampleCount(&job->done);
}

int main(void)
{
    Workshop workshop = {PTHREAD_MUTEX_INITIALIZER, 0, 0};
    const DDS_ThreadFactory factory = {&workshop, createThread, deleteThread};
    Job job = {DDS_GuardCondition_new(), EXAMPLE_COUNTER_INITIALIZER};
    const DDS_ConditionHandler handler = {&job, doJob};
    EXAMPLE_CHECK(job.guard != NULL);
    EXAMPLE_OK(DDS_Condition_set_handler(DDS_GuardCondition_as_condition(job.guard), &handler));

    char prefix[] = "shop";
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = poolSize;
    property.thread_name_prefix = prefix;
    DDS_AsyncWaitSet *waitSet = DDS_AsyncWaitSet_new_with_thread_factory(&property, NULL, &factory);
    EXAMPLE_CHECK(waitSet != NULL);
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(job.guard)));
    EXAMPLE_CHECK(workshop.created == 0);
    EXAMPLE_OK(DDS_AsyncWaitSet_start(waitSet));
    EXAMPLE_CHECK(workshop.created == poolSize);

    EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(job.guard, DDS_BOOLEAN_TRUE));
    exampleAwait(&job.done, 1);

    EXAMPLE_OK(DDS_AsyncWaitSet_delete(waitSet));
    EXAMPLE_CHECK(workshop.joined == poolSize);
    printf("all %d threads are joined\n", workshop.joined);
    EXAMPLE_OK(DDS_GuardCondition_delete(job.guard));
    return 0;
}
