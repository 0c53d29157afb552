/// @file
/// Thread-specific pointers: each is the first word of a block of the thread's own storage.
///
/// Protection: none needed; a block belongs to its thread.
#include "../platform/Platform.hpp"
#include "ZYLOsapiTss.pkg.h"

int ZYLOsapiTss_createKey(uint32_t *keyOut)
{
    *keyOut = ZYLPlatform_createThreadKey(sizeof(void *), nullptr);
    return *keyOut != platform::noThreadKey ? 1 : 0;
}

void *ZYLOsapiTss_get(uint32_t key)
{
    return *static_cast<void **>(ZYLPlatform_threadBlock(key));
}

void ZYLOsapiTss_set(uint32_t key, void *value)
{
    *static_cast<void **>(ZYLPlatform_threadBlock(key)) = value;
}
