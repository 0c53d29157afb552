/// @file
/// What most tests of the asynchronous wait set need: a property, a condition that counts its dispatches, a listener
/// that writes down what it hears, and a guise that makes the calling thread look like a pool thread.
#ifndef AWS_FIXTURE_HPP
#define AWS_FIXTURE_HPP

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "AwsInternals.hpp"

/// A property with the given pool size and level; `prefix` must outlive it.
inline DDS_AsyncWaitSetProperty_t propertyOf(DDS_UnsignedLong poolSize, DDS_Long level = 1,
                                             const char *prefix = nullptr)
{
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = poolSize;
    property.level = level;
    property.thread_name_prefix = const_cast<char *>(prefix);
    return property;
}

inline DDS_AsyncWaitSetCompletionToken *ignoreToken()
{
    return DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE;
}
inline DDS_AsyncWaitSetCompletionToken *implicitToken()
{
    return DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;
}

/// A guard condition whose handler first clears the trigger value (unless told not to), then runs `onTriggered`, and
/// counts its runs and how many of them were at once.
class HandledGuard {
public:
    explicit HandledGuard(std::function<void(HandledGuard &)> onTriggered = {}, bool clearsTrigger = true);
    ~HandledGuard();
    HandledGuard(const HandledGuard &) = delete;
    HandledGuard &operator=(const HandledGuard &) = delete;

    void trigger() { DDS_GuardCondition_set_trigger_value(_guard, DDS_BOOLEAN_TRUE); }
    void clear() { DDS_GuardCondition_set_trigger_value(_guard, DDS_BOOLEAN_FALSE); }
    bool isTriggered() const { return DDS_GuardCondition_get_trigger_value(_guard) != DDS_BOOLEAN_FALSE; }
    DDS_Condition *condition() const { return DDS_GuardCondition_as_condition(_guard); }
    DDS_GuardCondition *guard() const { return _guard; }

    std::atomic<int> runs{0};        ///< Handler runs so far.
    std::atomic<int> inside{0};      ///< Handlers running now.
    std::atomic<int> mostInside{0};  ///< Most handlers running at once.

private:
    static void run(void *data, DDS_Condition *condition);
    std::function<void(HandledGuard &)> _onTriggered;
    bool _clearsTrigger;
    DDS_GuardCondition *_guard;
};

/// Writes down every callback as "spawned", "deleted", "timeout", "attached", "detached".
class RecordingListener {
public:
    struct Event {
        std::string name;
        DDS_UnsignedLongLong threadId;  ///< 0 for condition events.
        DDS_Condition *condition;       ///< Null for thread events.
    };
    DDS_AsyncWaitSetListener listener();
    std::vector<Event> events() const;
    int count(const std::string &name) const;
    /// Called inside every callback, after it was written down.
    std::function<void(const Event &)> onEvent;

private:
    void record(Event event);
    mutable std::mutex _mutex;
    std::vector<Event> _events;
};

/// While it lives the calling thread is the wait set's pool thread of that index, with its worker.
class PoolThreadGuise {
public:
    explicit PoolThreadGuise(DDS_AsyncWaitSet *aws, DDS_Long index = 0);
    ~PoolThreadGuise();
    PoolThreadGuise(const PoolThreadGuise &) = delete;
    PoolThreadGuise &operator=(const PoolThreadGuise &) = delete;
    DDS_AsyncWaitSetThread *thread() const { return _thread; }

private:
    DDS_AsyncWaitSet *_aws;
    DDS_AsyncWaitSetThread *_thread;
    DDS_AsyncWaitSetThread *_former;
};

#endif
