/// @file
/// What the wait set needs to know of threads. Thread-safe.
#ifndef ZYL_OSAPI_THREAD_PKG_H
#define ZYL_OSAPI_THREAD_PKG_H

#include <stdint.h>

#include "dds_c/dds_c_asyncwaitset_impl.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Size of a thread name buffer, terminator included.
#define ZYL_OSAPI_THREAD_NAME_SIZE 17

/// The calling thread's id, stable for its life.
uint64_t ZYLOsapiThread_getCurrentThreadID(void);

/// Compose a thread name: prefix, mark and two digits of the index (more when needed, at the prefix's cost).
/// @param nameOut  ZYL_OSAPI_THREAD_NAME_SIZE bytes.
void ZYLOsapiThread_createThreadName(char *nameOut, const char *prefix, int index, const char *moduleMark);

/// Not 0: a thread's own storage is released when the thread ends.
int ZYLOsapiThread_tssDestructorsAreEnabled(void);

/// Fill in id and CPU time of a thread that the default thread factory made. Does not wait for the thread.
/// @return 1, or 0 for a handle that it does not know; nothing is written then.
int ZYLOsapiThread_getCpuInfo(void *threadHandle, struct ZYLOsapiThreadCpuInfo *cpuInfo);

/// Let another thread run.
void ZYLOsapiThread_yield(void);

#ifdef __cplusplus
}
#endif

#endif
