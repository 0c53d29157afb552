/// @file
/// Parking: one word says whether the thread has a token, sleeps, or neither. Only a thread that really sleeps costs a
/// call of the operating system.
///
/// Protection: the mutex of a parker guards the way to sleep and back; the mutex of this file guards the free list.
/// What the one who unparks did before is seen by the one who returns from park.
#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "StdDeadline.hpp"
#include "StdThreadLocals.hpp"

namespace platform {

struct Parker {
    enum : int { empty, token, asleep };

    std::atomic<int> word{empty};
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t isUnparked{};
    Parker *nextFree = nullptr;   // guarded by the mutex of the free list
    Parker *nextOfAll = nullptr;  // const after creation
};

}  // namespace platform

namespace {

using platform::Parker;
using platform::threadLocals;

pthread_mutex_t parkersMutex = PTHREAD_MUTEX_INITIALIZER;
constinit Parker *freeParkers = nullptr;
// Whoever looks for leaks finds the parkers from here.
constinit Parker *allParkers = nullptr;

Parker *takeParker()
{
    pthread_mutex_lock(&parkersMutex);
    Parker *parker = freeParkers;
    if (parker != nullptr) {
        freeParkers = parker->nextFree;
    } else {
        parker = new (std::nothrow) Parker;
        if (parker != nullptr) {
            platform::initMonotonicCondition(&parker->isUnparked);
            parker->nextOfAll = allParkers;
            allParkers = parker;
        }
    }
    pthread_mutex_unlock(&parkersMutex);
    if (parker == nullptr) {
        // A thread that cannot sleep cannot go on.
        std::fputs("asyncwaitset: no memory for the place where a thread sleeps\n", stderr);
        std::abort();
    }
    return parker;
}

/// Take the token if there is one; whether or not, none is left.
bool takeToken(Parker *parker)
{
    return parker->word.exchange(Parker::empty, std::memory_order_acquire) == Parker::token;
}

}  // namespace

namespace platform {

// A stale wake-up may leave a token behind for the next thread; its park returns for no reason then, as it may.
void giveParkerBack()
{
    Parker *parker = threadLocals.parker;
    if (parker == nullptr) return;
    threadLocals.parker = nullptr;
    pthread_mutex_lock(&parkersMutex);
    parker->nextFree = freeParkers;
    freeParkers = parker;
    pthread_mutex_unlock(&parkersMutex);
}

}  // namespace platform

Parker *ZYLPlatform_currentParker()
{
    platform::ThreadLocals &own = threadLocals;
    if (own.parker == nullptr) [[unlikely]] {
        if (!own.hasExitHandler) platform::installExitHandler();
        own.parker = takeParker();
    }
    return own.parker;
}

void ZYLPlatform_park(std::int64_t deadline_ns, const char * /*reason*/)
{
    Parker *self = ZYLPlatform_currentParker();
    if (takeToken(self)) return;
    pthread_mutex_lock(&self->mutex);
    int found = Parker::empty;
    if (self->word.compare_exchange_strong(found, Parker::asleep, std::memory_order_acquire)) {
        platform::waitUntil(&self->isUnparked, &self->mutex, deadline_ns);
    }
    takeToken(self);
    pthread_mutex_unlock(&self->mutex);
}

// The one who parks sets `asleep` and goes to sleep under the mutex: with the mutex once in hand, the signal finds it
// asleep, or already gone. The signal itself needs no mutex, and the thread would wake up only to wait for it.
void ZYLPlatform_unpark(Parker *parker)
{
    if (parker->word.exchange(Parker::token, std::memory_order_acq_rel) != Parker::asleep) return;
    pthread_mutex_lock(&parker->mutex);
    pthread_mutex_unlock(&parker->mutex);
    pthread_cond_signal(&parker->isUnparked);
}
