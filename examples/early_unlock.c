/// @file
/// Early unlock: a handler that has taken its data lets another pool thread into its condition while it works on.
#include "Example.h"

enum { plainTriggers = 100 };

typedef struct Station {
    DDS_AsyncWaitSet *waitSet;
    DDS_GuardCondition *guard;
    int unlocksEarly;         ///< Constant while the pool runs.
    ExampleCounter unlocked;  ///< Handlers that have let others in.
    ExampleCounter ended;     ///< Handlers that have done their work.
    pthread_mutex_t mutex;    ///< Protects the two numbers below.
    int inside;               ///< Handlers that run now.
    int mostInside;           ///< The most that ever ran at once.
} Station;

static void enter(Station *station)
{
    pthread_mutex_lock(&station->mutex);
    if (++station->inside > station->mostInside) station->mostInside = station->inside;
    pthread_mutex_unlock(&station->mutex);
}

static void leave(Station *station)
{
    pthread_mutex_lock(&station->mutex);
    --station->inside;
    pthread_mutex_unlock(&station->mutex);
    exampleCount(&station->ended);
}

static void work(void *handlerData, DDS_Condition *condition)
{
    Station *station = handlerData;
    enter(station);
    DDS_GuardCondition_set_trigger_value(station->guard, DDS_BOOLEAN_FALSE);
    if (station->unlocksEarly) {
        EXAMPLE_OK(DDS_AsyncWaitSet_unlock_condition(station->waitSet, condition));
        exampleCount(&station->unlocked);
        // Long work. It ends when the second handler is inside, too; no request may be pending meanwhile, because a
        // request lets nobody begin before everybody has come to rest.
        exampleAwait(&station->unlocked, 2);
    }
    leave(station);
}

/// Without an early unlock the handlers of one condition run one after the other, however large the pool.
static void runPlain(Station *station)
{
    for (int trigger = 1; trigger <= plainTriggers; ++trigger) {
        EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(station->guard, DDS_BOOLEAN_TRUE));
        exampleAwait(&station->ended, trigger);
    }
    printf("%d handlers without early unlock, at most %d at once\n", plainTriggers, station->mostInside);
    EXAMPLE_CHECK(station->mostInside == 1);
}

static void runUnlocked(Station *station)
{
    EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(station->guard, DDS_BOOLEAN_TRUE));
    exampleAwait(&station->unlocked, 1);
    EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(station->guard, DDS_BOOLEAN_TRUE));
    exampleAwait(&station->ended, plainTriggers + 2);
    printf("2 handlers with early unlock, at most %d at once\n", station->mostInside);
    EXAMPLE_CHECK(station->mostInside == 2);
}

int main(void)
{
    Station station = {.guard = DDS_GuardCondition_new(),
                       .unlocked = EXAMPLE_COUNTER_INITIALIZER,
                       .ended = EXAMPLE_COUNTER_INITIALIZER,
                       .mutex = PTHREAD_MUTEX_INITIALIZER};
    EXAMPLE_CHECK(station.guard != NULL);
    DDS_Condition *condition = DDS_GuardCondition_as_condition(station.guard);
    const DDS_ConditionHandler handler = {&station, work};
    EXAMPLE_OK(DDS_Condition_set_handler(condition, &handler));

    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = 2;
    station.waitSet = DDS_AsyncWaitSet_new(&property);
    EXAMPLE_CHECK(station.waitSet != NULL);
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition(station.waitSet, condition));
    EXAMPLE_OK(DDS_AsyncWaitSet_start(station.waitSet));
    runPlain(&station);
    // No pool thread looks at unlocksEarly while the pool is stopped.
    EXAMPLE_OK(DDS_AsyncWaitSet_stop(station.waitSet));
    station.unlocksEarly = 1;
    EXAMPLE_OK(DDS_AsyncWaitSet_start(station.waitSet));
    runUnlocked(&station);

    EXAMPLE_OK(DDS_AsyncWaitSet_delete(station.waitSet));
    EXAMPLE_OK(DDS_GuardCondition_delete(station.guard));
    return 0;
}
