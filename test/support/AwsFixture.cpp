/// @file
/// See the header.
#include "AwsFixture.hpp"

#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

HandledGuard::HandledGuard(std::function<void(HandledGuard &)> onTriggered, bool clearsTrigger)
    : _onTriggered(std::move(onTriggered)), _clearsTrigger(clearsTrigger), _guard(DDS_GuardCondition_new())
{
    const DDS_ConditionHandler handler = {this, run};
    DDS_Condition_set_handler(condition(), &handler);
}

HandledGuard::~HandledGuard()
{
    DDS_GuardCondition_delete(_guard);
}

void HandledGuard::run(void *data, DDS_Condition *condition)
{
    static_cast<void>(condition);
    auto &self = *static_cast<HandledGuard *>(data);
    const int now = ++self.inside;
    int most = self.mostInside.load();
    while (now > most && !self.mostInside.compare_exchange_weak(most, now)) {
    }
    if (self._clearsTrigger) self.clear();
    if (self._onTriggered) self._onTriggered(self);
    ++self.runs;
    --self.inside;
}

DDS_AsyncWaitSetListener RecordingListener::listener()
{
    using Self = RecordingListener;
    DDS_AsyncWaitSetListener result = {};
    result.listener_data = this;
    result.on_thread_spawned = [](void *d, DDS_UnsignedLongLong id) {
        static_cast<Self *>(d)->record({"spawned", id, nullptr});
    };
    result.on_thread_deleted = [](void *d, DDS_UnsignedLongLong id) {
        static_cast<Self *>(d)->record({"deleted", id, nullptr});
    };
    result.on_wait_timeout = [](void *d, DDS_UnsignedLongLong id) {
        static_cast<Self *>(d)->record({"timeout", id, nullptr});
    };
    result.on_condition_attached = [](void *d, DDS_Condition *c) {
        static_cast<Self *>(d)->record({"attached", 0, c});
    };
    result.on_condition_detached = [](void *d, DDS_Condition *c) {
        static_cast<Self *>(d)->record({"detached", 0, c});
    };
    return result;
}

std::vector<RecordingListener::Event> RecordingListener::events() const
{
    const std::lock_guard lock(_mutex);
    return _events;
}

int RecordingListener::count(const std::string &name) const
{
    int result = 0;
    for (const Event &event : events()) result += event.name == name ? 1 : 0;
    return result;
}

void RecordingListener::record(Event event)
{
    {
        const std::lock_guard lock(_mutex);
        _events.push_back(event);
    }
    if (onEvent) onEvent(event);
}

PoolThreadGuise::PoolThreadGuise(DDS_AsyncWaitSet *aws, DDS_Long index)
    : _aws(aws), _thread(&aws->_threadPool[index]), _former(DDS_AsyncWaitSetGlobals_getThreadSpecific(aws->_globals))
{
    _thread->_owner = aws;
    _thread->index = index;
    _thread->_threadId = ZYLOsapiThread_getCurrentThreadID();
    _thread->_awsWorker = DDS_AsyncWaitSetGlobals_getWorker(aws->_globals);
    DDS_AsyncWaitSetGlobals_setThreadSpecific(aws->_globals, _thread);
}

PoolThreadGuise::~PoolThreadGuise()
{
    DDS_AsyncWaitSetGlobals_setThreadSpecific(_aws->_globals, _former);
    _thread->_awsWorker = nullptr;
}
