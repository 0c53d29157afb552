/// @file
/// The heap of a program that can be told to be out of memory. To be included by one source file of a program that is
/// linked with `--wrap=ZYLOsapiHeap_reallocateMemoryInternal`.
#ifndef SEQUENCE_HEAP_FAULT_HPP
#define SEQUENCE_HEAP_FAULT_HPP

#include "SequenceInterpreter.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

extern "C" {
int __real_ZYLOsapiHeap_reallocateMemoryInternal(void **, size_t, int, int, int, const char *, ZYLOsapiAllocKind,
                                                 const char *);

int __wrap_ZYLOsapiHeap_reallocateMemoryInternal(void **blockInOut, size_t size, int alignment, int reallocate,
                                                 int flag, const char *routine, ZYLOsapiAllocKind kind,
                                                 const char *typeName)
{
    if (sequenceHeapIsOutOfMemory) return 0;
    return __real_ZYLOsapiHeap_reallocateMemoryInternal(blockInOut, size, alignment, reallocate, flag, routine, kind,
                                                        typeName);
}
}

#endif
