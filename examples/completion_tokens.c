/// @file
/// Completion tokens: requests that run while the caller goes on, and the three ways to learn that they are done.
#include "Example.h"

/// A handler that stays inside until it is let out.
typedef struct Visitor {
    DDS_GuardCondition *guard;
    ExampleCounter inside;
    ExampleCounter letOut;
} Visitor;

static void visit(void *handlerData, DDS_Condition *condition)
{
    Visitor *visitor = handlerData;
    (void)condition;
    DDS_GuardCondition_set_trigger_value(visitor->guard, DDS_BOOLEAN_FALSE);
    exampleCount(&visitor->inside);
    exampleAwait(&visitor->letOut, 1);
}

static DDS_AsyncWaitSetCompletionToken *newToken(DDS_AsyncWaitSet *waitSet)
{
    DDS_AsyncWaitSetCompletionToken *token = DDS_AsyncWaitSet_create_completion_token(waitSet);
    EXAMPLE_CHECK(token != NULL);
    return token;
}

/// Two requests are on their way at once; each token tells the outcome of its own.
static void attachTwo(DDS_AsyncWaitSet *waitSet, DDS_Condition *one, DDS_Condition *other)
{
    DDS_AsyncWaitSetCompletionToken *oneAttached = newToken(waitSet);
    DDS_AsyncWaitSetCompletionToken *otherAttached = newToken(waitSet);
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition_with_completion_token(waitSet, one, oneAttached));
    EXAMPLE_OK(DDS_AsyncWaitSet_attach_condition_with_completion_token(waitSet, other, otherAttached));
    printf("two attach requests are submitted\n");
    EXAMPLE_OK(DDS_AsyncWaitSetCompletionToken_wait(otherAttached, &DDS_DURATION_INFINITE));
    EXAMPLE_OK(DDS_AsyncWaitSetCompletionToken_wait(oneAttached, &DDS_DURATION_INFINITE));
    printf("both conditions are attached\n");
    EXAMPLE_OK(DDS_AsyncWaitSet_delete_completion_token(waitSet, oneAttached));
    EXAMPLE_OK(DDS_AsyncWaitSet_delete_completion_token(waitSet, otherAttached));
}

/// A request is done when every pool thread has carried it out, so it waits for the handler that runs just now.
static void suspendBehindHandler(DDS_AsyncWaitSet *waitSet, Visitor *visitor)
{
    DDS_AsyncWaitSetCompletionToken *token = newToken(waitSet);
    EXAMPLE_OK(DDS_GuardCondition_set_trigger_value(visitor->guard, DDS_BOOLEAN_TRUE));
    exampleAwait(&visitor->inside, 1);

    EXAMPLE_OK(DDS_AsyncWaitSet_suspend_with_completion_token(waitSet, token));
    EXAMPLE_CHECK(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_ZERO) == DDS_RETCODE_TIMEOUT);
    printf("the suspend request waits for a handler\n");
    exampleCount(&visitor->letOut);
    EXAMPLE_OK(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE));
    printf("suspended\n");

    // A token can be used again as soon as its request is done.
    EXAMPLE_OK(DDS_AsyncWaitSet_resume_with_completion_token(waitSet, token));
    EXAMPLE_OK(DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE));
    printf("resumed\n");
    EXAMPLE_OK(DDS_AsyncWaitSet_delete_completion_token(waitSet, token));
}

int main(void)
{
    Visitor visitor = {DDS_GuardCondition_new(), EXAMPLE_COUNTER_INITIALIZER, EXAMPLE_COUNTER_INITIALIZER};
    const DDS_ConditionHandler handler = {&visitor, visit};
    DDS_GuardCondition *silent = DDS_GuardCondition_new();
    EXAMPLE_CHECK(visitor.guard != NULL && silent != NULL);
    DDS_Condition *condition = DDS_GuardCondition_as_condition(visitor.guard);
    EXAMPLE_OK(DDS_Condition_set_handler(condition, &handler));

    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = 3;
    DDS_AsyncWaitSet *waitSet = DDS_AsyncWaitSet_new(&property);
    EXAMPLE_CHECK(waitSet != NULL);

    // The short form waits by itself; it is the verb with this token.
    EXAMPLE_OK(DDS_AsyncWaitSet_start_with_completion_token(waitSet,
                                                            DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT));
    printf("started\n");
    attachTwo(waitSet, condition, DDS_GuardCondition_as_condition(silent));
    suspendBehindHandler(waitSet, &visitor);

    // Nobody is told of this one. Requests are carried out in the order of their submission, so it is done when the
    // next one is.
    EXAMPLE_OK(DDS_AsyncWaitSet_detach_condition_with_completion_token(waitSet, DDS_GuardCondition_as_condition(silent),
                                                                       DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE));
    EXAMPLE_OK(DDS_AsyncWaitSet_detach_condition(waitSet, condition));
    EXAMPLE_OK(DDS_GuardCondition_delete(silent));
    EXAMPLE_OK(DDS_GuardCondition_delete(visitor.guard));
    printf("both conditions are detached and deleted\n");
    EXAMPLE_OK(DDS_AsyncWaitSet_delete(waitSet));
    EXAMPLE_CHECK(visitor.inside.count == 1);
    return 0;
}
