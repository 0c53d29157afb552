/// @file
/// The program of a project that uses the library. It ends with 0 when a wait set can be made and deleted.
#include <dds_c/dds_c_asyncwaitset.h>

#ifndef CONSUMER_FLAG
#error "the flags of the consumer are gone"
#endif

int main(void)
{
    DDS_AsyncWaitSet *waitSet = DDS_AsyncWaitSet_new(&DDS_ASYNC_WAITSET_PROPERTY_DEFAULT);
    if (waitSet == NULL || DDS_AsyncWaitSet_start(waitSet) != DDS_RETCODE_OK) return 1;
    return DDS_AsyncWaitSet_delete(waitSet) == DDS_RETCODE_OK ? 0 : 1;
}
