/// @file
/// For the rest of the library: the CPU information sequence, thread pool statistics, and the wait set's internal
/// entry points.
///
/// A trailing `I` means: the caller has checked the arguments it was not told about and holds what is named here.
#ifndef DDS_C_ASYNCWAITSET_IMPL_H
#define DDS_C_ASYNCWAITSET_IMPL_H

#include "dds_c_asyncwaitset.h"

#ifdef __cplusplus
extern "C" {
#endif

/// CPU time of one thread.
typedef struct ZYLOsapiThreadCpuInfo {
    DDS_UnsignedLongLong id;    ///< Thread id.
    struct ZYLNtpTime cpuTime;  ///< CPU time consumed so far.
} ZYLOsapiThreadCpuInfo;

/// Sequence of CPU information.
DDS_SEQUENCE(ZYLOsapiThreadCpuInfoSeq, ZYLOsapiThreadCpuInfo);

/// CPU time of every pool thread at one moment. A value of the caller's: initialize it first, finalize it last.
typedef struct DDS_AsyncWaitSetThreadPoolStats {
    struct ZYLOsapiThreadCpuInfoSeq thread_pool_info;  ///< Element i describes the pool thread of index i.
} DDS_AsyncWaitSetThreadPoolStats;

/// An empty record, for static or automatic records.
#define DDS_AsyncWaitSetThreadPoolStats_INITIALIZER \
    {                                               \
        DDS_SEQUENCE_INITIALIZER                    \
    }

/// Make the record empty, whatever it held. Allocates nothing; `self` is not tested.
DDS_API void DDS_AsyncWaitSetThreadPoolStats_initialize(struct DDS_AsyncWaitSetThreadPoolStats *self);

/// Release the buffer, if the record owns one.
DDS_API void DDS_AsyncWaitSetThreadPoolStats_finalize(struct DDS_AsyncWaitSetThreadPoolStats *self);

/// @return `self`, or null when the copy failed.
DDS_API struct DDS_AsyncWaitSetThreadPoolStats *DDS_AsyncWaitSetThreadPoolStats_copy(
    struct DDS_AsyncWaitSetThreadPoolStats *self, const struct DDS_AsyncWaitSetThreadPoolStats *from);

/// Fill the record: one element for every pool thread of a started wait set, none (but room for them) otherwise.
///
/// Failures are only logged; then the record holds what it held. A second call on the same record allocates nothing.
/// Thread-safe; enters the critical section and does not wait for the pool threads. The CPU time of a thread
/// that a custom factory made cannot be read: its element keeps what it held, zero in a fresh record.
DDS_API void DDS_AsyncWaitSet_get_thread_pool_statsI(DDS_AsyncWaitSet *self,
                                                     struct DDS_AsyncWaitSetThreadPoolStats *poolStats);

#ifdef __cplusplus
}
#endif

#endif
