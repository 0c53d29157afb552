/// @file
/// First use on the operating system: one mutex and one condition variable serve everything that is made once, for it
/// happens rarely.
///
/// Protection: the mutex of this file guards the way to "made"; "made" itself is read without it.
/// Calls out: the makers, without the mutex.
#include <pthread.h>

#include <atomic>

#include "../Platform.hpp"

namespace {

enum State : unsigned { notMade, beingMade, made };

pthread_mutex_t makersMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t isMakerDone = PTHREAD_COND_INITIALIZER;

/// Wait while another thread is making the thing.
/// Returns: false when it is made; otherwise the caller is to make it.
bool becomeMaker(std::atomic_ref<unsigned> state)
{
    pthread_mutex_lock(&makersMutex);
    while (state.load(std::memory_order_relaxed) == beingMade) pthread_cond_wait(&isMakerDone, &makersMutex);
    const bool isMaker = state.load(std::memory_order_relaxed) == notMade;
    if (isMaker) state.store(beingMade, std::memory_order_relaxed);
    pthread_mutex_unlock(&makersMutex);
    return isMaker;
}

void endMaking(std::atomic_ref<unsigned> state, bool isMade)
{
    pthread_mutex_lock(&makersMutex);
    state.store(isMade ? made : notMade, std::memory_order_release);
    pthread_mutex_unlock(&makersMutex);
    pthread_cond_broadcast(&isMakerDone);
}

}  // namespace

int ZYLPlatform_makeOnce(ZYLPlatformOnce *self, const char * /*name*/, int (*make)(void *argument), void *argument)
{
    const std::atomic_ref<unsigned> state(self->_state);
    if (state.load(std::memory_order_acquire) == made || !becomeMaker(state)) return 1;
    const bool isMade = make(argument) != 0;
    endMaking(state, isMade);
    return isMade ? 1 : 0;
}
