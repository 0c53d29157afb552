/// @file
/// The tagged heap. Every block knows the family of routines that made it and is freed by the same family.
///
/// Protection: thread-safe. Nothing here blocks beyond the system's allocator.
#ifndef ZYL_OSAPI_HEAP_PKG_H
#define ZYL_OSAPI_HEAP_PKG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The families.
typedef enum ZYLOsapiAllocKind {
    ZYL_OSAPI_STRUCT_ALLOC = 0x4e01,
    ZYL_OSAPI_STRING_ALLOC = 0x4e02,
    ZYL_OSAPI_ARRAY_ALLOC = 0x4e03
} ZYLOsapiAllocKind;

/// Default alignment, and "size unknown" for a free.
#define ZYL_OSAPI_HEAP_DEFAULT (-1)

/// Allocate (`reallocate` 0) or resize (`reallocate` 1; a null block is a fresh allocation).
///
/// @param blockInOut  address of the pointer; holds the block on success, unchanged on failure.
/// @param size        bytes; 0 fails.
/// @param alignment   ZYL_OSAPI_HEAP_DEFAULT or a power of two up to 16.
/// @param flag        always 0.
/// @param routine     public routine that the call stands for, for example "ZYLOsapiHeap_allocateArray".
/// @param typeName    for diagnostics.
/// @return not 0 on success. Fresh bytes are not cleared.
int ZYLOsapiHeap_reallocateMemoryInternal(void **blockInOut, size_t size, int alignment, int reallocate, int flag,
                                          const char *routine, ZYLOsapiAllocKind kind, const char *typeName);

/// Free a block (null is allowed). A block of another family, or one that is no block, is reported as a precondition
/// failure and left alone.
void ZYLOsapiHeap_freeMemoryInternal(void *block, int flag, const char *routine, ZYLOsapiAllocKind kind, int size);

/// Number of blocks that have not been freed; for leak tests.
size_t ZYLOsapiHeap_getBlockCount(void);

#ifdef __cplusplus
}

/// The calls as the library writes them.
template <class Record>
inline Record *ZYLOsapiHeap_allocateStructure(const char *typeName)
{
    void *block = nullptr;
    return ZYLOsapiHeap_reallocateMemoryInternal(&block, sizeof(Record), ZYL_OSAPI_HEAP_DEFAULT, 0, 0,
                                                 "ZYLOsapiHeap_allocateStructure", ZYL_OSAPI_STRUCT_ALLOC,
                                                 typeName) != 0
               ? static_cast<Record *>(block)
               : nullptr;
}

inline void ZYLOsapiHeap_freeStructure(void *block)
{
    ZYLOsapiHeap_freeMemoryInternal(block, 0, "ZYLOsapiHeap_freeStructure", ZYL_OSAPI_STRUCT_ALLOC,
                                    ZYL_OSAPI_HEAP_DEFAULT);
}

/// Null when the byte count does not fit or memory ended.
template <class Element>
inline Element *ZYLOsapiHeap_allocateArray(size_t count, const char *typeName)
{
    void *block = nullptr;
    if (count > SIZE_MAX / sizeof(Element)) return nullptr;
    return ZYLOsapiHeap_reallocateMemoryInternal(&block, count * sizeof(Element), ZYL_OSAPI_HEAP_DEFAULT, 0, 0,
                                                 "ZYLOsapiHeap_allocateArray", ZYL_OSAPI_ARRAY_ALLOC, typeName) != 0
               ? static_cast<Element *>(block)
               : nullptr;
}

inline void ZYLOsapiHeap_freeArray(void *block)
{
    ZYLOsapiHeap_freeMemoryInternal(block, 0, "ZYLOsapiHeap_freeArray", ZYL_OSAPI_ARRAY_ALLOC, ZYL_OSAPI_HEAP_DEFAULT);
}
#endif

#endif
