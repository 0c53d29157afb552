/// @file
/// Threads and monitors of the platform for the scope of a test, on either platform.
#ifndef PLATFORM_SCOPE_HPP
#define PLATFORM_SCOPE_HPP

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "halo_runtime/platform/Platform.hpp"

/// A thread for a scope.
class TestThread {
public:
    explicit TestThread(std::function<void()> body)
        : _body(std::move(body)), _handle(ZYLPlatform_createThread({}, run, this, nullptr))
    {
        EXPECT_NE(_handle, nullptr);
    }
    ~TestThread() { join(); }
    TestThread(const TestThread &) = delete;
    TestThread &operator=(const TestThread &) = delete;

    void join()
    {
        platform::Thread *handle = std::exchange(_handle, nullptr);
        if (handle != nullptr) ZYLPlatform_joinThread(handle);
    }
    platform::Thread *handle() const { return _handle; }

private:
    static void *run(void *argument)
    {
        static_cast<TestThread *>(argument)->_body();
        return nullptr;
    }
    std::function<void()> _body;
    platform::Thread *_handle;
};

/// A mutex and a condition variable for a scope.
struct Monitor {
    platform::Mutex mutex{};
    platform::Condition condition{};

    Monitor()
    {
        ZYLPlatform_initMutex(mutex, "monitor");
        ZYLPlatform_initCondition(condition, "change");
    }
    ~Monitor()
    {
        ZYLPlatform_destroyCondition(condition);
        ZYLPlatform_destroyMutex(mutex);
    }
    Monitor(const Monitor &) = delete;
    Monitor &operator=(const Monitor &) = delete;
};

#endif
