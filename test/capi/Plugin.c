/// @file
/// A module of an application that contains the static library, as far as Unload.c uses it.
#include <dds_c/dds_c_asyncwaitset.h>

typedef DDS_ReturnCode_t Operation(DDS_AsyncWaitSet *self);

DDS_API extern Operation *const pluginOperations[];
Operation *const pluginOperations[] = {DDS_AsyncWaitSet_start, DDS_AsyncWaitSet_stop, DDS_AsyncWaitSet_delete};

DDS_API DDS_AsyncWaitSet *pluginNew(void);
DDS_AsyncWaitSet *pluginNew(void)
{
    return DDS_AsyncWaitSet_new(&DDS_ASYNC_WAITSET_PROPERTY_DEFAULT);
}
