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
        : _body(std::move(body)), _handle(platform_createThread({}, run, this, nullptr))
    {
        EXPECT_NE(_handle, nullptr);
    }
    ~TestThread() { join(); }
    TestThread(const TestThread &) = delete;
    TestThread &operator=(const TestThread &) = delete;

    void join()
    {
        platform::Thread *handle = std::exchange(_handle, nullptr);
        if (handle != nullptr) platform_joinThread(handle);
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
        platform_initMutex(mutex, "monitor");
        platform_initCondition(condition, "change");
    }
    ~Monitor()
    {
        platform_destroyCondition(condition);
        platform_destroyMutex(mutex);
    }
    Monitor(const Monitor &) = delete;
    Monitor &operator=(const Monitor &) = delete;
};

#endif
