/// @file
/// The creation property: its defaults, and deep copies of it.
///
/// Protection: none; a property belongs to one thread at a time. The constants are read-only.
#include "AsyncWaitSetLog.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"

namespace {

constexpr DDS_Duration_t infinite = {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC};

}  // namespace

const struct DDS_AsyncWaitSetProperty_t DDS_ASYNC_WAITSET_PROPERTY_DEFAULT = {
    {1, infinite},
    1,
    {0, DDS_THREAD_SETTINGS_PRIORITY_DEFAULT, DDS_THREAD_SETTINGS_STACK_SIZE_DEFAULT, DDS_SEQUENCE_INITIALIZER,
     DDS_THREAD_SETTINGS_CPU_NO_ROTATION, 0},
    nullptr,
    infinite,
    1};

const struct DDS_WaitSetProperty_t DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY = {1, infinite};

DDS_ReturnCode_t DDS_AsyncWaitSetProperty_t_initialize(struct DDS_AsyncWaitSetProperty_t *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    *self = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    return DDS_RETCODE_OK;
}

struct DDS_AsyncWaitSetProperty_t *DDS_AsyncWaitSetProperty_t_copy(struct DDS_AsyncWaitSetProperty_t *self,
                                                                   const struct DDS_AsyncWaitSetProperty_t *source)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(nullptr, self);
    if (source == nullptr) return AWS_BAD_PARAMETER(nullptr, source);
    if (self == source) return self;

    self->waitset_property = source->waitset_property;
    self->thread_pool_size = source->thread_pool_size;
    self->wait_timeout = source->wait_timeout;
    self->level = source->level;
    self->thread_settings.mask = source->thread_settings.mask;
    self->thread_settings.priority = source->thread_settings.priority;
    self->thread_settings.stack_size = source->thread_settings.stack_size;
    self->thread_settings.cpu_rotation = source->thread_settings.cpu_rotation;
    self->thread_settings.num_uses = source->thread_settings.num_uses;

    DDS_String_free(self->thread_name_prefix);
    self->thread_name_prefix = nullptr;
    if (source->thread_name_prefix != nullptr) {
        self->thread_name_prefix = DDS_String_dup(source->thread_name_prefix);
        if (self->thread_name_prefix == nullptr) return AWS_FAILED(nullptr, "copy thread name prefix");
    }
    if (DDS_LongSeq_copy(&self->thread_settings.cpu_list, &source->thread_settings.cpu_list) == nullptr)
        return AWS_FAILED(nullptr, "copy cpu list");
    return self;
}

DDS_ReturnCode_t DDS_AsyncWaitSetProperty_t_finalize(struct DDS_AsyncWaitSetProperty_t *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    DDS_String_free(self->thread_name_prefix);
    self->thread_name_prefix = nullptr;
    static_cast<void>(DDS_LongSeq_finalize(&self->thread_settings.cpu_list));
    return DDS_RETCODE_OK;
}
