/// @file
/// The default thread factory: settings of the application become settings of the platform.
///
/// Protection: none needed; there is no state.
/// Calls out: the body of each thread, on that thread.
#include "DDS_ThreadFactory.hpp"

#include "../platform/Platform.hpp"
#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "DDS_Log.hpp"

const struct DDS_ThreadFactory DDS_THREAD_FACTORY_USE_DEFAULT = {nullptr, nullptr, nullptr};

namespace {

/// The CPUs of a CPU list as one array.
struct CpuArray {
    const DDS_Long *cpus = nullptr;  ///< Null when there are none.
    std::size_t count = 0;
    DDS_Long *copy = nullptr;   ///< Not null when `cpus` had to be gathered; from the heap.
    bool isMemoryGone = false;  ///< They could not be gathered.
};

CpuArray gatherCpus(const DDS_LongSeq &list)
{
    CpuArray array;
    // A record that was never initialized is an empty sequence.
    if (list._sequence_init != DDS_SEQUENCE_MAGIC_NUMBER || list._length == 0) return array;
    array.count = list._length;
    if (list._discontiguous_buffer == nullptr) {
        array.cpus = list._contiguous_buffer;
        return array;
    }
    array.copy = ZYLOsapiHeap_allocateArray<DDS_Long>(array.count, "DDS_Long");
    if (array.copy == nullptr) {
        array.count = 0;
        array.isMemoryGone = true;
        return array;
    }
    for (std::size_t i = 0; i < array.count; ++i) array.copy[i] = *list._discontiguous_buffer[i];
    array.cpus = array.copy;
    return array;
}

/// Take over the settings that need no memory.
/// Returns: the settings that make no sense on any system.
unsigned convert(const DDS_ThreadSettings_t &settings, platform::ThreadSettings *settingsOut)
{
    unsigned refused = 0;
    settingsOut->hasPriority = settings.priority != DDS_THREAD_SETTINGS_PRIORITY_DEFAULT;
    settingsOut->priority = settingsOut->hasPriority ? settings.priority : 0;
    if (settings.stack_size > 0)
        settingsOut->stackSize = static_cast<std::size_t>(settings.stack_size);
    else if (settings.stack_size != DDS_THREAD_SETTINGS_STACK_SIZE_DEFAULT)
        refused |= platform::refusedStackSize;
    return refused;
}

/// What the settings are called in messages.
constexpr struct {
    unsigned bit;
    const char *name;
} settingNames[] = {
    {platform::refusedName, "name"},
    {platform::refusedStackSize, "stack size"},
    {platform::refusedPriority, "priority"},
    {platform::refusedCpus, "cpu list"},
};

void *createThread(void * /*factoryData*/, const char *threadName, const struct DDS_ThreadSettings_t *settings,
                   DDS_ThreadFactory_OnSpawnedFunction onSpawned, void *threadParam)
{
    if (onSpawned == nullptr) return DDS_FAILED_AS(nullptr, DDS_LOG_BAD_PARAMETER_s, "on_spawned");
    platform::ThreadSettings platformSettings;
    platformSettings.name = threadName;
    unsigned refused = 0;
    CpuArray cpus;
    if (settings != nullptr) {
        refused = convert(*settings, &platformSettings);
        cpus = gatherCpus(settings->cpu_list);
        if (cpus.isMemoryGone) return DDS_CREATE_FAILED(nullptr, "array of CPUs");
        platformSettings.cpus = cpus.cpus;
        platformSettings.cpuCount = cpus.count;
    }
    unsigned refusedBySystem = 0;
    platform::Thread *const thread =
        ZYLPlatform_createThread(platformSettings, onSpawned, threadParam, &refusedBySystem);
    ZYLOsapiHeap_freeArray(cpus.copy);
    if (thread == nullptr) return DDS_CREATE_FAILED(nullptr, "thread");

    for (const auto &setting : settingNames)
        if (((refused | refusedBySystem) & setting.bit) != 0)
            DDS_FAILED_AS(static_cast<void>(0), ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss,
                          threadName != nullptr ? threadName : "", setting.name);
    return thread;
}

void deleteThread(void * /*factoryData*/, void *thread)
{
    if (thread != nullptr) ZYLPlatform_joinThread(static_cast<platform::Thread *>(thread));
}

}  // namespace

struct DDS_ThreadFactory DDS_ThreadFactory_getDefaultI()
{
    return {nullptr, createThread, deleteThread};
}
