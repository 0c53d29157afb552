/// @file
/// Strings on the tagged heap.
///
/// Protection: thread-safe; nothing blocks.
#include <cstring>

#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "DDS_String.pkg.h"

char *DDS_String_dup(const char *string)
{
    if (string == nullptr) return nullptr;
    const std::size_t size = std::strlen(string) + 1;
    void *block = nullptr;
    if (ZYLOsapiHeap_reallocateMemoryInternal(&block, size, ZYL_OSAPI_HEAP_DEFAULT, 0, 0, "ZYLOsapiHeap_allocateString",
                                              ZYL_OSAPI_STRING_ALLOC, "char") == 0)
        return nullptr;
    return static_cast<char *>(std::memcpy(block, string, size));
}

void DDS_String_free(char *string)
{
    ZYLOsapiHeap_freeMemoryInternal(string, 0, "ZYLOsapiHeap_freeString", ZYL_OSAPI_STRING_ALLOC,
                                    ZYL_OSAPI_HEAP_DEFAULT);
}
