/// @file
/// Thread factories: who creates and joins the threads of an asynchronous wait set, and with which settings.
#ifndef DDS_C_THREADFACTORY_H
#define DDS_C_THREADFACTORY_H

#include "dds_c_common.h"
#include "generic/dds_c_sequence_TSeq.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Sequence of signed 32-bit integers; holds CPU numbers.
DDS_SEQUENCE(DDS_LongSeq, DDS_Long);

/// How the CPUs of a CPU list are given to the threads.
typedef enum DDS_ThreadSettingsCpuRotationKind {
    DDS_THREAD_SETTINGS_CPU_NO_ROTATION = 0,  ///< Every thread may run on every CPU of the list.
    DDS_THREAD_SETTINGS_CPU_RR_ROTATION = 1   ///< Accepted; the default factory treats it as no rotation.
} DDS_ThreadSettingsCpuRotationKind;

/// Priority that means: inherit the creating thread's.
#define DDS_THREAD_SETTINGS_PRIORITY_DEFAULT ((DDS_Long)-9999999)
/// Stack size that means: the system's default.
#define DDS_THREAD_SETTINGS_STACK_SIZE_DEFAULT ((DDS_Long)-1)

/// Settings of a thread, passed unchanged to the factory.
typedef struct DDS_ThreadSettings_t {
    DDS_UnsignedLong mask;                           ///< Free for the factory; the default one ignores it.
    DDS_Long priority;                               ///< Priority, or DDS_THREAD_SETTINGS_PRIORITY_DEFAULT.
    DDS_Long stack_size;                             ///< Bytes, or DDS_THREAD_SETTINGS_STACK_SIZE_DEFAULT.
    struct DDS_LongSeq cpu_list;                     ///< CPUs that the thread may run on; empty means any.
    DDS_ThreadSettingsCpuRotationKind cpu_rotation;  ///< See DDS_ThreadSettingsCpuRotationKind.
    DDS_Long num_uses;                               ///< Reserved.
} DDS_ThreadSettings_t;

/// The body of a thread; its result is ignored.
typedef void *(*DDS_ThreadFactory_OnSpawnedFunction)(void *thread_param);

/// Create and start a thread that runs `on_spawned(thread_param)`.
/// @return a handle, or null: then no thread was started, and none may start later.
typedef void *(*DDS_ThreadFactory_CreateThreadCallback)(void *factory_data, const char *thread_name,
                                                        const struct DDS_ThreadSettings_t *settings,
                                                        DDS_ThreadFactory_OnSpawnedFunction on_spawned,
                                                        void *thread_param);

/// Release a handle. It must join: when it returns, the body has returned and the thread touches nothing any more.
typedef void (*DDS_ThreadFactory_DeleteThreadCallback)(void *factory_data, void *thread);

/// A thread factory. The asynchronous wait set keeps a copy of the record.
typedef struct DDS_ThreadFactory {
    void *factory_data;                                    ///< First argument of both callbacks.
    DDS_ThreadFactory_CreateThreadCallback create_thread;  ///< Not null.
    DDS_ThreadFactory_DeleteThreadCallback delete_thread;  ///< Not null.
} DDS_ThreadFactory;

/// Only its address matters: use the default factory, which makes real threads with the given name, stack size,
/// priority and CPU list. A setting that the system refuses is reported at level 2 and the thread runs without it. A
/// shortage, of threads or of memory, is no refusal: no thread is created then.
///
/// Its threads block all signals, from before they exist, except SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS,
/// SIGABRT and SIGPROF, which they block only if the creating thread does: the application's signals reach the
/// application's own threads. A process that a handler starts inherits what the handler's thread blocks.
DDS_API extern const struct DDS_ThreadFactory DDS_THREAD_FACTORY_USE_DEFAULT;

#ifdef __cplusplus
}
#endif

#endif
