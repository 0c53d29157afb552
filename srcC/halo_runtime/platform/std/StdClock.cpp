/// @file
/// The clock, and what a thread does while it waits for a few instructions of another one.
#include <sched.h>

#include <ctime>

#include "../Platform.hpp"

std::int64_t ZYLPlatform_now_ns()
{
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::int64_t>(time.tv_sec) * nanosecondsPerSecond + time.tv_nsec;
}

void ZYLPlatform_yield()
{
    sched_yield();
}

void ZYLPlatform_pause()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield");
#endif
}
