/// @file
/// Thread pool statistics: a snapshot of the CPU time of every pool thread.
///
/// Protection: the snapshot is taken inside the critical section, so that the started flag and the thread handles fit
/// together. The record itself is its owner's.
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "dds_c/dds_c_asyncwaitset_impl.h"

namespace {

/// Set the length, with room for `maximum` elements. A length of 0 alone would make none; a lent buffer keeps the room
/// that it has. Returns: whether both could be done.
bool setLengthWithRoom(ZYLOsapiThreadCpuInfoSeq *cpuInfoSeq, DDS_Long length, DDS_Long maximum)
{
    if (length == 0 && ZYLOsapiThreadCpuInfoSeq_has_ownership(cpuInfoSeq) != DDS_BOOLEAN_FALSE &&
        ZYLOsapiThreadCpuInfoSeq_get_maximum(cpuInfoSeq) < maximum &&
        ZYLOsapiThreadCpuInfoSeq_set_maximum(cpuInfoSeq, maximum) == DDS_BOOLEAN_FALSE)
        return false;
    return ZYLOsapiThreadCpuInfoSeq_ensure_length(cpuInfoSeq, length, maximum) != DDS_BOOLEAN_FALSE;
}

}  // namespace

void DDS_AsyncWaitSetThreadPoolStats_initialize(struct DDS_AsyncWaitSetThreadPoolStats *self)
{
    *self = DDS_AsyncWaitSetThreadPoolStats_INITIALIZER;
}

void DDS_AsyncWaitSetThreadPoolStats_finalize(struct DDS_AsyncWaitSetThreadPoolStats *self)
{
    static_cast<void>(ZYLOsapiThreadCpuInfoSeq_finalize(&self->thread_pool_info));
}

struct DDS_AsyncWaitSetThreadPoolStats *DDS_AsyncWaitSetThreadPoolStats_copy(
    struct DDS_AsyncWaitSetThreadPoolStats *self, const struct DDS_AsyncWaitSetThreadPoolStats *from)
{
    return ZYLOsapiThreadCpuInfoSeq_copy(&self->thread_pool_info, &from->thread_pool_info) != nullptr ? self : nullptr;
}

void DDS_AsyncWaitSet_get_thread_pool_statsI(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThreadPoolStats *poolStats)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(static_cast<void>(0), self);
    if (poolStats == nullptr) return AWS_FAILED_AS(static_cast<void>(0), DDS_LOG_BAD_PARAMETER_s, "pool_stats");
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(static_cast<void>(0), "enter");

    const auto poolSize = static_cast<DDS_Long>(self->_property.thread_pool_size);
    const DDS_Long length = DDS_AsyncWaitSet_is_started(self) != DDS_BOOLEAN_FALSE ? poolSize : 0;
    ZYLOsapiThreadCpuInfoSeq *const cpuInfoSeq = &poolStats->thread_pool_info;
    if (poolSize < 0 || !setLengthWithRoom(cpuInfoSeq, length, poolSize)) {
        AWS_WARN("ensure length of thread pool info sequence");
    } else {
        for (DDS_Long i = 0; i < length; ++i)
            static_cast<void>(ZYLOsapiThread_getCpuInfo(self->_threadPool[i]._threadHandle,
                                                        ZYLOsapiThreadCpuInfoSeq_get_reference(cpuInfoSeq, i)));
    }
    if (!AWS_leaveCriticalSection(self)) AWS_AREA_FAILED(static_cast<void>(0), "leave");
}
