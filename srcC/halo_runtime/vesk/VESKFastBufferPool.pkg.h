/// @file
/// Pools of equal buffers. Buffers are made in steps and kept until the pool goes, so that taking one costs a few
/// instructions.
///
/// Protection: none unless `multiThreadedAccess` is set; the caller serialises access.
#ifndef VESK_FAST_BUFFER_POOL_PKG_H
#define VESK_FAST_BUFFER_POOL_PKG_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VESKFastBufferPool VESKFastBufferPool;

/// How a pool grows. -1 means no limit for `maximal` and the pool's own choice (doubling) for `increment`.
typedef struct VESKFastBufferPoolGrowth {
    int initial;
    int maximal;
    int increment;
} VESKFastBufferPoolGrowth;

typedef struct VESKFastBufferPoolProperty {
    struct VESKFastBufferPoolGrowth growth;
    int multiThreadedAccess;  ///< The pool locks by itself.
    int zeroBufferContent;    ///< Buffers are handed out zeroed.
    int ignoreMaximal;        ///< Grow past `maximal`.
    int dynamicAlloc;         ///< Every buffer is allocated and freed by itself.
} VESKFastBufferPoolProperty;

/// Called once for each buffer when it is made (not 0 is success) and before it is freed.
typedef int (*VESKFastBufferPool_InitializeBufferFunction)(void *parameter, void *buffer);
typedef void (*VESKFastBufferPool_FinalizeBufferFunction)(void *parameter, void *buffer);

/// @param size       bytes of a buffer, above 0.
/// @param alignment  a power of two up to 16.
/// @param typeName   for diagnostics; must outlive the pool.
/// @param reserved   0.
/// @return the pool with its initial buffers made, or null for bad arguments or when memory ended.
VESKFastBufferPool *VESKFastBufferPool_newWithParams(
    int size, int alignment, VESKFastBufferPool_InitializeBufferFunction initialize, void *initializeParameter,
    VESKFastBufferPool_FinalizeBufferFunction finalize, void *finalizeParameter,
    const struct VESKFastBufferPoolProperty *property, const char *typeName, int reserved);
/// @param size  -1 for the pool's own size; a larger size than that fails.
/// @return a buffer, or null when the pool cannot grow.
void *VESKFastBufferPool_getBufferWithSize(VESKFastBufferPool *self, int size);
/// Give a buffer back.
void VESKFastBufferPool_returnBuffer(VESKFastBufferPool *self, void *buffer);
/// Free the pool and every buffer that it made, returned or not. Null is allowed.
void VESKFastBufferPool_delete(VESKFastBufferPool *self);

#ifdef __cplusplus
}
#endif

#endif
