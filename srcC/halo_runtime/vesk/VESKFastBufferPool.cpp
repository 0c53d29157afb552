/// @file
/// Pools of equal buffers. Memory comes in chunks; a chunk is a row of slots, and a slot is a tag followed by the
/// buffer. The link of the free list is in the tag, so that an initialized buffer keeps its content while it rests.
///
/// Protection: the pool's mutex when `multiThreadedAccess` is set, the caller otherwise.
/// Calls out: the initialize and finalize callbacks, with that protection held.
#include <algorithm>
#include <climits>
#include <cstring>

#include "../platform/Platform.hpp"
#include "../zyl/ZYLLogWords.pkg.hpp"
#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "VESKFastBufferPool.pkg.h"

namespace {

constexpr int maximalAlignment = 16;

struct alignas(maximalAlignment) Slot {
    Slot *nextFree;
    VESKFastBufferPool *holder;  ///< The pool while the buffer is handed out, else null.
};

struct alignas(maximalAlignment) Chunk {
    Chunk *next;
    Chunk *prev;
    int slotCount;
};

void *bufferOf(Slot *slot)
{
    return slot + 1;
}
Slot *slotOf(void *buffer)
{
    return static_cast<Slot *>(buffer) - 1;
}

}  // namespace

struct VESKFastBufferPool {
    VESKFastBufferPoolProperty _property;
    std::size_t _bufferSize;
    std::size_t _slotSize;
    VESKFastBufferPool_InitializeBufferFunction _initialize;
    void *_initializeParameter;
    VESKFastBufferPool_FinalizeBufferFunction _finalize;
    void *_finalizeParameter;
    const char *_typeName;
    Chunk *_firstChunk;
    Slot *_firstFree;
    int _bufferCount;  ///< Of all chunks.
    platform::Mutex _mutex;
};

namespace {

Slot *slotAt(const VESKFastBufferPool *self, Chunk *chunk, int index)
{
    auto *slots = reinterpret_cast<unsigned char *>(chunk + 1);
    return reinterpret_cast<Slot *>(slots + static_cast<std::size_t>(index) * self->_slotSize);
}

void finalizeSlots(VESKFastBufferPool *self, Chunk *chunk, int count)
{
    if (self->_finalize == nullptr) return;
    for (int i = 0; i < count; ++i) self->_finalize(self->_finalizeParameter, bufferOf(slotAt(self, chunk, i)));
}

/// Make a chunk and put its buffers into the free list.
bool addChunk(VESKFastBufferPool *self, int count)
{
    const std::size_t bytes = sizeof(Chunk) + static_cast<std::size_t>(count) * self->_slotSize;
    auto *chunk = reinterpret_cast<Chunk *>(ZYLOsapiHeap_allocateArray<unsigned char>(bytes, self->_typeName));
    if (chunk == nullptr) return false;
    *chunk = {self->_firstChunk, nullptr, count};
    for (int i = 0; self->_initialize != nullptr && i < count; ++i) {
        if (self->_initialize(self->_initializeParameter, bufferOf(slotAt(self, chunk, i))) != 0) continue;
        finalizeSlots(self, chunk, i);
        ZYLOsapiHeap_freeArray(chunk);
        return false;
    }
    if (chunk->next != nullptr) chunk->next->prev = chunk;
    self->_firstChunk = chunk;
    self->_bufferCount += count;
    for (int i = count - 1; i >= 0; --i) {
        Slot *slot = slotAt(self, chunk, i);
        *slot = {self->_firstFree, nullptr};
        self->_firstFree = slot;
    }
    return true;
}

void removeChunk(VESKFastBufferPool *self, Chunk *chunk)
{
    if (chunk->prev != nullptr)
        chunk->prev->next = chunk->next;
    else
        self->_firstChunk = chunk->next;
    if (chunk->next != nullptr) chunk->next->prev = chunk->prev;
    self->_bufferCount -= chunk->slotCount;
    finalizeSlots(self, chunk, chunk->slotCount);
    ZYLOsapiHeap_freeArray(chunk);
}

/// Make the next buffers that the growth rule allows.
bool grow(VESKFastBufferPool *self)
{
    const VESKFastBufferPoolGrowth &growth = self->_property.growth;
    const bool isLimited = growth.maximal >= 0 && self->_property.ignoreMaximal == 0;
    const int room = (isLimited ? growth.maximal : INT_MAX) - self->_bufferCount;
    int step = growth.increment >= 0 ? growth.increment : std::max(1, self->_bufferCount);
    if (self->_property.dynamicAlloc != 0) step = 1;
    step = std::min(step, room);
    return step > 0 && addChunk(self, step);
}

void *takeBuffer(VESKFastBufferPool *self)
{
    if (self->_firstFree == nullptr && !grow(self)) return nullptr;
    Slot *slot = self->_firstFree;
    self->_firstFree = slot->nextFree;
    *slot = {nullptr, self};
    if (self->_property.zeroBufferContent != 0) std::memset(bufferOf(slot), 0, self->_bufferSize);
    return bufferOf(slot);
}

void giveBuffer(VESKFastBufferPool *self, Slot *slot)
{
    if (self->_property.dynamicAlloc != 0) {
        removeChunk(self, reinterpret_cast<Chunk *>(slot) - 1);
        return;
    }
    *slot = {self->_firstFree, nullptr};
    self->_firstFree = slot;
}

bool isGrowthGood(const VESKFastBufferPoolProperty &property)
{
    const VESKFastBufferPoolGrowth &growth = property.growth;
    return growth.initial >= 0 && growth.maximal >= -1 && growth.increment >= -1 &&
           (growth.maximal == -1 || growth.initial <= growth.maximal || property.ignoreMaximal != 0);
}

}  // namespace

VESKFastBufferPool *VESKFastBufferPool_newWithParams(
    int size, int alignment, VESKFastBufferPool_InitializeBufferFunction initialize, void *initializeParameter,
    VESKFastBufferPool_FinalizeBufferFunction finalize, void *finalizeParameter,
    const struct VESKFastBufferPoolProperty *property, const char *typeName, int)
{
    if (size <= 0 || property == nullptr || !isGrowthGood(*property)) return nullptr;
    if (alignment <= 0 || alignment > maximalAlignment || (alignment & (alignment - 1)) != 0) return nullptr;

    auto *self = ZYLOsapiHeap_allocateStructure<VESKFastBufferPool>("struct VESKFastBufferPool");
    if (self == nullptr) return nullptr;
    const auto bufferSize = static_cast<std::size_t>(size);
    const std::size_t roundedSize = (bufferSize + maximalAlignment - 1) / maximalAlignment * maximalAlignment;
    *self = {*property,
             bufferSize,
             sizeof(Slot) + roundedSize,
             initialize,
             initializeParameter,
             finalize,
             finalizeParameter,
             typeName,
             nullptr,
             nullptr,
             0,
             {}};
    ZYLPlatform_initMutex(self->_mutex, "buffer pool");
    // A pool that allocates every buffer by itself has nothing to prepare.
    const int initial = property->dynamicAlloc == 0 ? property->growth.initial : 0;
    if (initial == 0 || addChunk(self, initial)) return self;
    VESKFastBufferPool_delete(self);
    return nullptr;
}

void *VESKFastBufferPool_getBufferWithSize(VESKFastBufferPool *self, int size)
{
    if (self == nullptr) return nullptr;
    if (size != -1 && (size <= 0 || static_cast<std::size_t>(size) > self->_bufferSize)) return nullptr;
    if (self->_property.multiThreadedAccess == 0) return takeBuffer(self);
    const platform::Lock lock(self->_mutex);
    return takeBuffer(self);
}

void VESKFastBufferPool_returnBuffer(VESKFastBufferPool *self, void *buffer)
{
    if (self == nullptr || buffer == nullptr) return;
    Slot *slot = slotOf(buffer);
    if (slot->holder != self)
        return ZYL_PRECONDITION(static_cast<void>(0), DDS_SUBMODULE_MASK_INFRASTRUCTURE, "buffer of another pool");
    if (self->_property.multiThreadedAccess == 0) return giveBuffer(self, slot);
    const platform::Lock lock(self->_mutex);
    giveBuffer(self, slot);
}

void VESKFastBufferPool_delete(VESKFastBufferPool *self)
{
    if (self == nullptr) return;
    while (self->_firstChunk != nullptr) removeChunk(self, self->_firstChunk);
    ZYLPlatform_destroyMutex(self->_mutex);
    ZYLOsapiHeap_freeStructure(self);
}
