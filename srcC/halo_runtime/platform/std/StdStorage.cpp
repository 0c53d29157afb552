/// @file
/// Storage of a thread, and the hooks that run when it ends.
///
/// Protection: the mutex of this file guards the table of keys. The storage belongs to its thread.
/// Calls out: exit hooks, without the mutex.
#include <pthread.h>

#include <algorithm>

#include "StdThreadLocals.hpp"

namespace platform {

constinit thread_local ThreadLocals threadLocals{};

}  // namespace platform

namespace {

using platform::ThreadKey;
using platform::threadLocals;

struct ExitHook {
    ThreadKey key;
    void (*call)(void *block);
};

constexpr std::size_t maxHooks = 64;
constexpr std::size_t alignment = 16;
constexpr int maxRounds = 4;

pthread_mutex_t tableMutex = PTHREAD_MUTEX_INITIALIZER;
constinit std::size_t usedStorage = 0;
constinit ExitHook hooks[maxHooks] = {};
constinit std::size_t hookCount = 0;

/// Returns: false behind the last hook.
bool readHook(std::size_t index, ExitHook &hookOut)
{
    pthread_mutex_lock(&tableMutex);
    const bool isThere = index < hookCount;
    if (isThere) hookOut = hooks[index];
    pthread_mutex_unlock(&tableMutex);
    return isThere;
}

/// Call the hook of every block that is in use. Returns: whether there was one; a hook may have filled another block.
bool runExitHooksOnce()
{
    bool isAnyCalled = false;
    ExitHook hook{};
    for (std::size_t index = 0; readHook(index, hook); ++index) {
        void *block = threadLocals.storage + hook.key;
        auto &mark = *static_cast<std::uintptr_t *>(block);
        if (mark == 0) continue;
        hook.call(block);
        mark = 0;
        isAnyCalled = true;
    }
    return isAnyCalled;
}

void onThreadEnd(void * /*locals*/)
{
    int round = 0;
    while (round < maxRounds && runExitHooksOnce()) ++round;
    platform::giveParkerBack();
    platform::noteEnd();
    // A destructor that runs later may touch the storage again; then this runs again.
    threadLocals.hasExitHandler = false;
}

/// The system's notice of a thread's end.
struct ExitHandler {
    pthread_key_t key{};
    bool isMade = false;
    ExitHandler() { isMade = pthread_key_create(&key, onThreadEnd) == 0; }
};

}  // namespace

namespace platform {

void installExitHandler()
{
    static const ExitHandler handler;
    threadLocals.hasExitHandler = true;
    if (handler.isMade) pthread_setspecific(handler.key, &threadLocals);
}

}  // namespace platform

ThreadKey ZYLPlatform_createThreadKey(std::size_t size, void (*onExit)(void *block))
{
    const std::size_t rounded = (std::max(size, sizeof(void *)) + alignment - 1) / alignment * alignment;
    ThreadKey key = platform::noThreadKey;
    pthread_mutex_lock(&tableMutex);
    const bool isRoom = size <= platform::storageSize && rounded <= platform::storageSize - usedStorage;
    if (isRoom && (onExit == nullptr || hookCount < maxHooks)) {
        key = static_cast<ThreadKey>(usedStorage);
        usedStorage += rounded;
        if (onExit != nullptr) hooks[hookCount++] = {key, onExit};
    }
    pthread_mutex_unlock(&tableMutex);
    return key;
}

void *ZYLPlatform_threadBlock(ThreadKey key)
{
    if (!threadLocals.hasExitHandler) [[unlikely]]
        platform::installExitHandler();
    return threadLocals.storage + key;
}
