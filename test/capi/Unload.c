/// @file
/// Loads and unloads the shared library, and uses it on a thread meanwhile.
///
/// usage: capi_Unload LIBRARY early|late TIMES
///
/// The thread ends before the library is unloaded (early) or afterwards (late). The program ends with 0 when every
/// round worked and as many thread keys are free after the last round as after the first one.
#include <dds_c/dds_c_asyncwaitset.h>
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

#define CHECK(condition_)                                                    \
    do {                                                                     \
        if (!(condition_)) {                                                 \
            fprintf(stderr, "line %d: failed: %s\n", __LINE__, #condition_); \
            ++failures;                                                      \
        }                                                                    \
    } while (0)

typedef DDS_AsyncWaitSet *New(const DDS_AsyncWaitSetProperty_t *property);
typedef DDS_ReturnCode_t Operation(DDS_AsyncWaitSet *self);

/// The library of one round, and how far the round is.
typedef struct Round {
    void *library;
    sem_t isUsed;
    sem_t mayEnd;
} Round;

/// A function of the library, in the way that a pointer to data becomes one to a function.
static void find(void *library, const char *name, void *functionOut)
{
    void *const address = dlsym(library, name);
    memcpy(functionOut, &address, sizeof address);
    CHECK(address != NULL);
}

static void *useLibrary(void *argument)
{
    Round *round = argument;
    New *create = NULL;
    Operation *start = NULL;
    Operation *stop = NULL;
    Operation *destroy = NULL;
    find(round->library, "DDS_AsyncWaitSet_new", &create);
    find(round->library, "DDS_AsyncWaitSet_start", &start);
    find(round->library, "DDS_AsyncWaitSet_stop", &stop);
    find(round->library, "DDS_AsyncWaitSet_delete", &destroy);
    if (failures == 0) {
        DDS_AsyncWaitSet *waitSet = create(dlsym(round->library, "DDS_ASYNC_WAITSET_PROPERTY_DEFAULT"));
        CHECK(waitSet != NULL && start(waitSet) == DDS_RETCODE_OK);
        CHECK(stop(waitSet) == DDS_RETCODE_OK && destroy(waitSet) == DDS_RETCODE_OK);
    }
    sem_post(&round->isUsed);
    sem_wait(&round->mayEnd);
    return NULL;
}

static void playRound(const char *path, int endsLate)
{
    Round round;
    pthread_t thread;
    round.library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (round.library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        ++failures;
        return;
    }
    sem_init(&round.isUsed, 0, 0);
    sem_init(&round.mayEnd, 0, endsLate ? 0 : 1);
    CHECK(pthread_create(&thread, NULL, useLibrary, &round) == 0);
    sem_wait(&round.isUsed);
    if (!endsLate) CHECK(pthread_join(thread, NULL) == 0);
    CHECK(dlclose(round.library) == 0);
    sem_post(&round.mayEnd);
    if (endsLate) CHECK(pthread_join(thread, NULL) == 0);
    sem_destroy(&round.mayEnd);
    sem_destroy(&round.isUsed);
}

static int freeKeyCount(void)
{
    static pthread_key_t keys[4096];
    int count = 0;
    while (count < 4096 && pthread_key_create(&keys[count], NULL) == 0) ++count;
    for (int i = 0; i < count; ++i) pthread_key_delete(keys[i]);
    return count;
}

int main(int argc, char **argv)
{
    if (argc != 4) return 2;
    const int endsLate = strcmp(argv[2], "late") == 0;
    const long rounds = strtol(argv[3], NULL, 10);
    playRound(argv[1], endsLate);
    const int freeKeys = freeKeyCount();
    for (long i = 1; i < rounds && failures == 0; ++i) playRound(argv[1], endsLate);
    if (freeKeyCount() != freeKeys) {
        fprintf(stderr, "%d thread keys were free, %d are now\n", freeKeys, freeKeyCount());
        ++failures;
    }
    return failures == 0 ? 0 : 1;
}
