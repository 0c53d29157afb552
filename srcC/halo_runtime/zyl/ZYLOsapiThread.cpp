/// @file
/// What the wait set needs to know of threads.
///
/// Protection: thread-safe, no lock.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "../platform/Platform.hpp"
#include "ZYLOsapiThread.pkg.h"
#include "ZYLTime.pkg.h"

uint64_t ZYLOsapiThread_getCurrentThreadID(void)
{
    return ZYLPlatform_currentThreadId();
}

void ZYLOsapiThread_createThreadName(char *nameOut, const char *prefix, int index, const char *moduleMark)
{
    if (nameOut == nullptr) return;
    constexpr std::size_t capacity = ZYL_OSAPI_THREAD_NAME_SIZE - 1;
    char digits[ZYL_OSAPI_THREAD_NAME_SIZE];
    const int digitCount = std::snprintf(digits, sizeof digits, "%02d", index);

    // What tells two threads of a pool apart comes first: the digits, then the mark, then what fits of the prefix.
    std::size_t room = capacity - static_cast<std::size_t>(digitCount);
    const std::size_t markLength = moduleMark != nullptr ? std::min(room, std::strlen(moduleMark)) : 0;
    room -= markLength;
    const std::size_t prefixLength = prefix != nullptr ? std::min(room, std::strlen(prefix)) : 0;

    char *end = nameOut;
    end = std::copy_n(prefix, prefixLength, end);
    end = std::copy_n(moduleMark, markLength, end);
    end = std::copy_n(digits, digitCount, end);
    *end = '\0';
}

int ZYLOsapiThread_tssDestructorsAreEnabled(void)
{
    return 1;
}

int ZYLOsapiThread_getCpuInfo(void *threadHandle, struct ZYLOsapiThreadCpuInfo *cpuInfo)
{
    std::uint64_t id = 0;
    std::int64_t cpuTime_ns = 0;
    if (cpuInfo == nullptr || !ZYLPlatform_threadCpuTime(threadHandle, &id, &cpuTime_ns)) return 0;
    cpuInfo->id = id;
    ZYLNtpTime_from_ns(&cpuInfo->cpuTime, cpuTime_ns);
    return 1;
}

void ZYLOsapiThread_yield(void)
{
    ZYLPlatform_yield();
}
