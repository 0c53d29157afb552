/// @file
/// Mutexes and condition variables of the operating system.
#include <pthread.h>

#include <algorithm>
#include <new>

#include "StdDeadline.hpp"

namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(platform::Mutex::storage));
static_assert(sizeof(pthread_cond_t) <= sizeof(platform::Condition::storage));

pthread_mutex_t *systemMutex(platform::Mutex &mutex)
{
    return reinterpret_cast<pthread_mutex_t *>(mutex.storage);
}

pthread_cond_t *systemCondition(platform::Condition &condition)
{
    return reinterpret_cast<pthread_cond_t *>(condition.storage);
}

}  // namespace

namespace platform {

void initMonotonicCondition(pthread_cond_t *condition)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

void waitUntil(pthread_cond_t *condition, pthread_mutex_t *mutex, std::int64_t deadline_ns)
{
    if (deadline_ns == noDeadline_ns) {
        pthread_cond_wait(condition, mutex);
        return;
    }
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    const std::int64_t time_ns = std::max<std::int64_t>(deadline_ns, 0);
    timespec time{};
    time.tv_sec = time_ns / nanosecondsPerSecond;
    time.tv_nsec = time_ns % nanosecondsPerSecond;
    pthread_cond_timedwait(condition, mutex, &time);
}

}  // namespace platform

void ZYLPlatform_initMutex(platform::Mutex &mutex, const char * /*name*/)
{
    pthread_mutex_init(new (mutex.storage) pthread_mutex_t, nullptr);
}

void ZYLPlatform_destroyMutex(platform::Mutex &mutex)
{
    pthread_mutex_destroy(systemMutex(mutex));
}

void ZYLPlatform_lock(platform::Mutex &mutex) ZYL_NOT_ANALYZED
{
    pthread_mutex_lock(systemMutex(mutex));
}

void ZYLPlatform_unlock(platform::Mutex &mutex) ZYL_NOT_ANALYZED
{
    pthread_mutex_unlock(systemMutex(mutex));
}

void ZYLPlatform_initCondition(platform::Condition &condition, const char * /*name*/)
{
    platform::initMonotonicCondition(new (condition.storage) pthread_cond_t);
}

void ZYLPlatform_destroyCondition(platform::Condition &condition)
{
    pthread_cond_destroy(systemCondition(condition));
}

void ZYLPlatform_waitCondition(platform::Condition &condition, platform::Mutex &mutex, std::int64_t deadline_ns)
{
    platform::waitUntil(systemCondition(condition), systemMutex(mutex), deadline_ns);
}

void ZYLPlatform_wakeAll(platform::Condition &condition)
{
    pthread_cond_broadcast(systemCondition(condition));
}
