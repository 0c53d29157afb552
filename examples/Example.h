/// @file
/// What the examples share: a check that ends the program when something is wrong, and an event counter to wait on.
///
/// Protection: an ExampleCounter may be used by any thread.
#ifndef EXAMPLE_H
#define EXAMPLE_H

#include <dds_c/dds_c_asyncwaitset.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>

/// End the program with 1 unless the condition holds.
#define EXAMPLE_CHECK(condition_) exampleCheck((condition_), #condition_, __FILE__, __LINE__)
/// The same for an operation that must return DDS_RETCODE_OK.
#define EXAMPLE_OK(call_) exampleCheck((call_) == DDS_RETCODE_OK, #call_, __FILE__, __LINE__)

static inline void exampleCheck(int holds, const char *text, const char *file, int line)
{
    if (holds) return;
    fprintf(stderr, "%s:%d: failed: %s\n", file, line, text);
    exit(1);
}

/// Counts events; a thread can wait until there have been enough.
typedef struct ExampleCounter {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int count;
} ExampleCounter;

#define EXAMPLE_COUNTER_INITIALIZER                            \
    {                                                          \
        PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0 \
    }

static inline void exampleCount(ExampleCounter *self)
{
    pthread_mutex_lock(&self->mutex);
    ++self->count;
    pthread_cond_broadcast(&self->changed);
    pthread_mutex_unlock(&self->mutex);
}

static inline void exampleAwait(ExampleCounter *self, int count)
{
    pthread_mutex_lock(&self->mutex);
    while (self->count < count) pthread_cond_wait(&self->changed, &self->mutex);
    pthread_mutex_unlock(&self->mutex);
}

#endif
