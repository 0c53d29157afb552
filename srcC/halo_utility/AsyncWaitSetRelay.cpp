/// @file
/// Relay: what the listener hears of pool threads, and where leadership changes around it.
///
/// Protection: a spawned thread and one whose wait timed out are reported while they lead; one that leaves gives
/// leadership up after its report.
/// Calls out: the listener.
#include "AsyncWaitSetRelay.hpp"

#include "AsyncWaitSetLeadership.hpp"
#include "AsyncWaitSetLog.hpp"
#include "halo_runtime/platform/Boundary.pkg.hpp"

namespace {

/// Call the listener about a thread, if it wants to hear that. Calls out.
void tell(const DDS_AsyncWaitSet *self, const char *event, void (*callback)(void *, DDS_UnsignedLongLong),
          const DDS_AsyncWaitSetThread *thread)
{
    if (callback == nullptr) return;
    platform::callOut(event, "wait set", self, [&] { callback(self->_listener.listener_data, thread->_threadId); });
}

}  // namespace

void DDS_AsyncWaitSet_onThreadSpawned(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread)
{
    if (self == nullptr) return AWS_NULL(static_cast<void>(0), self);
    if (DDS_AsyncWaitSet_becomeNewLeader(self, thread) == 0) return AWS_WARN("become leader");
    AWS_TRACE_THREAD(thread, "on thread spawned");
    tell(self, "on_thread_spawned", self->_listener.on_thread_spawned, thread);
}

void DDS_AsyncWaitSet_onWaitTimeout(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread)
{
    if (self == nullptr) return AWS_NULL(static_cast<void>(0), self);
    tell(self, "on_wait_timeout", self->_listener.on_wait_timeout, thread);
    AWS_TRACE_THREAD(thread, "on wait timeout");
}

void DDS_AsyncWaitSet_onThreadDeleted(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread)
{
    if (self == nullptr) return AWS_NULL(static_cast<void>(0), self);
    tell(self, "on_thread_deleted", self->_listener.on_thread_deleted, thread);
    AWS_TRACE_THREAD(thread, "on thread deleted");
    if (DDS_AsyncWaitSet_promoteNewLeader(self, thread) == 0) AWS_WARN("promote new leader");
}
