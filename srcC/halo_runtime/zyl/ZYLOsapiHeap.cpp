/// @file
/// The tagged heap: a tag before every block tells its family and its size, and whether it is a block at all.
///
/// The tag's mark depends on the block's address, so that copied bytes are no block, and it is wiped before the memory
/// goes back, so that a second free is noticed as long as the memory has not been used again or given to the system.
/// Under the address sanitizer the tag of memory that is not the program's is not even read.
///
/// Protection: thread-safe. Nothing here blocks beyond the system's allocator.
#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "ZYLLogWords.pkg.hpp"
#include "ZYLOsapiHeap.pkg.h"

#if defined(__SANITIZE_ADDRESS__)
#define ZYL_HEAP_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZYL_HEAP_ADDRESS_SANITIZER
#endif
#endif
#ifdef ZYL_HEAP_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace {

struct alignas(16) Tag {
    std::uintptr_t mark;
    std::size_t size;  ///< Of the block, without the tag.
    ZYLOsapiAllocKind kind;
    const char *typeName;  ///< For a debugger.
};
static_assert(alignof(std::max_align_t) >= alignof(Tag), "the allocator aligns the tag, and the tag the block");

std::atomic<std::size_t> blockCount{0};

std::uintptr_t markOf(const Tag *tag)
{
    constexpr std::uintptr_t pattern = static_cast<std::uintptr_t>(0x9e3779b97f4a7c15U);
    return reinterpret_cast<std::uintptr_t>(tag) ^ pattern;
}

void *blockOf(Tag *tag)
{
    return tag + 1;
}

/// The tag of a block of this family, or null.
Tag *tagOf(void *block, ZYLOsapiAllocKind kind)
{
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    if (address % alignof(Tag) != 0 || address < sizeof(Tag)) return nullptr;
    Tag *tag = static_cast<Tag *>(block) - 1;
#ifdef ZYL_HEAP_ADDRESS_SANITIZER
    if (__asan_region_is_poisoned(tag, sizeof *tag) != nullptr) return nullptr;
#endif
    return tag->mark == markOf(tag) && tag->kind == kind ? tag : nullptr;
}

bool isAlignmentServed(int alignment)
{
    return alignment == ZYL_OSAPI_HEAP_DEFAULT ||
           (alignment > 0 && alignment <= static_cast<int>(alignof(Tag)) && (alignment & (alignment - 1)) == 0);
}

}  // namespace

int ZYLOsapiHeap_reallocateMemoryInternal(void **blockInOut, size_t size, int alignment, int reallocate, int,
                                          const char *routine, ZYLOsapiAllocKind kind, const char *typeName)
{
    if (blockInOut == nullptr)
        return ZYL_PRECONDITION(0, DDS_SUBMODULE_MASK_INFRASTRUCTURE, "blockInOut == ((void *)0)");
    // No object is larger than PTRDIFF_MAX; the system's allocator need not be asked.
    if (size == 0 || size > PTRDIFF_MAX - sizeof(Tag) || !isAlignmentServed(alignment)) return 0;

    Tag *old = nullptr;
    if (reallocate != 0 && *blockInOut != nullptr) {
        old = tagOf(*blockInOut, kind);
        if (old == nullptr) {
            ZYL_PRINT(ZYL_LOG_LEVEL_PRECONDITION, DDS_SUBMODULE_MASK_INFRASTRUCTURE, ZYL_OSAPI_MEMORY_LOG_BAD_BLOCK_s,
                      routine);
            ZYLLog_reportPrecondition();
            return 0;
        }
        old->mark = 0;
    }
    auto *tag = static_cast<Tag *>(std::realloc(old, sizeof(Tag) + size));
    if (tag == nullptr) {
        if (old != nullptr) old->mark = markOf(old);
        return 0;
    }
    if (old == nullptr) blockCount.fetch_add(1, std::memory_order_relaxed);
    *tag = {markOf(tag), size, kind, typeName};
    *blockInOut = blockOf(tag);
    return 1;
}

void ZYLOsapiHeap_freeMemoryInternal(void *block, int, const char *routine, ZYLOsapiAllocKind kind, int)
{
    if (block == nullptr) return;
    Tag *tag = tagOf(block, kind);
    if (tag == nullptr) {
        ZYL_PRINT(ZYL_LOG_LEVEL_PRECONDITION, DDS_SUBMODULE_MASK_INFRASTRUCTURE, ZYL_OSAPI_MEMORY_LOG_BAD_BLOCK_s,
                  routine);
        ZYLLog_reportPrecondition();
        return;
    }
    // Through the atomic, so that the compiler does not drop a store to memory that it sees go.
    std::atomic_ref<std::uintptr_t>(tag->mark).store(0, std::memory_order_relaxed);
    blockCount.fetch_sub(1, std::memory_order_relaxed);
    std::free(tag);
}

size_t ZYLOsapiHeap_getBlockCount(void)
{
    return blockCount.load(std::memory_order_relaxed);
}
