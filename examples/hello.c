/// @file
/// Hello: two guard conditions, each with a handler, and a pool of two threads that runs the handlers.
#include "Example.h"

/// What a handler needs: its handler_data.
typedef struct Greeting {
    const char *text;
    DDS_GuardCondition *guard;
    ExampleCounter done;
} Greeting;

/// Runs on a pool thread whenever the condition is triggered.
static void greet(void *handlerData, DDS_Condition *condition)
{
    Greeting *greeting = handlerData;
    (void)condition;
    // Clear the value first, then do the work that it stands for: what is triggered meanwhile is seen again.
    DDS_GuardCondition_set_trigger_value(greeting->guard, DDS_BOOLEAN_FALSE);
    printf("%s\n", greeting->text);
    exampleCount(&greeting->done);
}

/// Make the condition and install the handler, which must be there before the condition is attached.
static void prepare(Greeting *greeting)
{
    const DDS_ConditionHandler handler = {greeting, greet};
    greeting->guard = DDS_GuardCondition_new();
    EXAMPLE_CHECK(greeting->guard != NULL);
    EXAMPLE_OK(DDS_Condition_set_handler(DDS_GuardCondition_as_condition(greeting->guard), &handler));
}

int main(void)
{
    Greeting hello = {"hello", NULL, EXAMPLE_COUNTER_INITIALIZER};
    Greeting world = {"world", NULL, EXAMPLE_COUNTER_INITIALIZER};
    prepare(&hello);
    prepare(&world);

    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = 2;
    DDS_AsyncWaitSet *waitSet = DDS_AsyncWaitSet_new(&property);
    EXAMPLE_CHECK(waitSet != NULL);
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(hello.guard)));
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(world.guard)));
    EXAMPLE_OK(DDS_AsyncWaitSet_start(waitSet));

    EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(hello.guard, DDS_BOOLEAN_TRUE));
    exampleAwait(&hello.done, 1);
    EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(world.guard, DDS_BOOLEAN_TRUE));
    exampleAwait(&world.done, 1);

    // Deleting stops the pool, joins its threads and detaches the conditions.
    EXAMPLE_OK(DDS_AsyncWaitSet_delete(waitSet));
    EXAMPLE_CHECK(hello.done.count == 1 && world.done.count == 1);
    EXAMPLE_OK(DDS_GuardCondition_delete(hello.guard));
    EXAMPLE_OK(DDS_GuardCondition_delete(world.guard));
    return 0;
}
