/// @file
/// Fibers on ucontext. See SimFiber.hpp.
///
/// Protection: none needed; there is one thread of the operating system.
#include "SimFiber.hpp"

#include <sys/mman.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define SIM_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SIM_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define SIM_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SIM_THREAD_SANITIZER 1
#endif
#endif

#if defined(SIM_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif
#if defined(SIM_THREAD_SANITIZER)
#include <sanitizer/tsan_interface.h>
extern "C" {
void AnnotateIgnoreReadsBegin(const char *file, int line);
void AnnotateIgnoreReadsEnd(const char *file, int line);
void AnnotateIgnoreWritesBegin(const char *file, int line);
void AnnotateIgnoreWritesEnd(const char *file, int line);
}
#endif

namespace sim {

namespace {

constexpr std::size_t usableSize = std::size_t{256} * 1024;

/// A free stack's first words.
struct FreeStack {
    FreeStack *next;
};
constinit FreeStack *freeStacks = nullptr;

std::size_t pageSize()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// Map a stack with a guard page below it. Returns: its lowest usable byte, or null.
void *mapStack()
{
    const std::size_t guard = pageSize();
    void *memory =
        mmap(nullptr, guard + usableSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) return nullptr;
    if (mprotect(memory, guard, PROT_NONE) != 0) {
        munmap(memory, guard + usableSize);
        return nullptr;
    }
    return static_cast<char *>(memory) + guard;
}

void *takeStack()
{
    if (freeStacks == nullptr) return mapStack();
    FreeStack *stack = freeStacks;
    freeStacks = stack->next;
    return stack;
}

void giveStack(void *stack)
{
#if defined(SIM_THREAD_SANITIZER)
    // Deliberate: not pooled. A fresh mapping has no history; on a used one the accesses of the thread that had it
    // before would look like races with those of the next.
    munmap(static_cast<char *>(stack) - pageSize(), pageSize() + usableSize);
#else
#if defined(SIM_ADDRESS_SANITIZER)
    __asan_unpoison_memory_region(stack, usableSize);
#endif
    auto *freed = static_cast<FreeStack *>(stack);
    freed->next = freeStacks;
    freeStacks = freed;
#endif
}

void beginUnseen()
{
#if defined(SIM_THREAD_SANITIZER)
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
#endif
}

void endUnseen()
{
#if defined(SIM_THREAD_SANITIZER)
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
#endif
}

}  // namespace

bool makeFiber(Fiber &fiber, void (*entry)())
{
    fiber = Fiber{};
    fiber.stack = takeStack();
    if (fiber.stack == nullptr) return false;
    fiber.stackBottom = fiber.stack;
    fiber.stackSize = usableSize;
    getcontext(&fiber.context);
    fiber.context.uc_stack.ss_sp = fiber.stack;
    fiber.context.uc_stack.ss_size = usableSize;
    fiber.context.uc_link = nullptr;
    makecontext(&fiber.context, entry, 0);
#if defined(SIM_THREAD_SANITIZER)
    fiber.sanitizerThread = __tsan_create_fiber(0);
#endif
    return true;
}

void adoptStack(Fiber &fiber)
{
    fiber = Fiber{};
#if defined(SIM_THREAD_SANITIZER)
    fiber.sanitizerThread = __tsan_get_current_fiber();
#endif
}

// Deliberate: getcontext and setcontext instead of swapcontext, which the address sanitizer replaces by a function that
// forgets what it knew of the stack. The thread sanitizer must not look at what happens between the two fibers.
__attribute__((noinline, no_sanitize("thread"))) void switchFiber(Fiber &from, Fiber &to, [[maybe_unused]] bool isEnd)
{
#if defined(SIM_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(isEnd ? nullptr : &from.fakeStack, to.stackBottom, to.stackSize);
#endif
    from.isResumed = false;
    getcontext(&from.context);
    if (!from.isResumed) {
        from.isResumed = true;
#if defined(SIM_THREAD_SANITIZER)
        if (isEnd) endUnseen();
        __tsan_switch_to_fiber(to.sanitizerThread, __tsan_switch_to_fiber_no_sync);
#endif
        setcontext(&to.context);
    }
#if defined(SIM_ADDRESS_SANITIZER)
    __sanitizer_finish_switch_fiber(from.fakeStack, nullptr, nullptr);
#endif
}

void enterFiber([[maybe_unused]] Fiber &self, [[maybe_unused]] Fiber *from)
{
#if defined(SIM_ADDRESS_SANITIZER)
    const void *bottom = nullptr;
    std::size_t size = 0;
    __sanitizer_finish_switch_fiber(self.fakeStack, &bottom, &size);
    if (from == nullptr) return;
    from->stackBottom = bottom;
    from->stackSize = size;
#endif
}

void dropFiber(Fiber &fiber)
{
    giveStack(fiber.stack);
    fiber.stack = nullptr;
#if defined(SIM_THREAD_SANITIZER)
    __tsan_destroy_fiber(fiber.sanitizerThread);
#endif
}

void abandonFiber([[maybe_unused]] Fiber &fiber)
{
#if defined(SIM_ADDRESS_SANITIZER)
    // What only this stack refers to is not leaked: the thread is still there, it just never runs.
    __lsan_register_root_region(fiber.stack, fiber.stackSize);
#endif
}

void releaseTo([[maybe_unused]] void *object)
{
#if defined(SIM_THREAD_SANITIZER)
    __tsan_release(object);
#endif
}

void acquireFrom([[maybe_unused]] void *object)
{
#if defined(SIM_THREAD_SANITIZER)
    __tsan_acquire(object);
#endif
}

Unseen::Unseen()
{
    beginUnseen();
}

Unseen::~Unseen()
{
    endUnseen();
}

}  // namespace sim
