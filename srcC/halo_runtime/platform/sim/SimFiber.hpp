/// @file
/// Fibers: the stacks that the simulated threads run on, and the switch from one to the other.
///
/// The sanitizers are told of each switch. The thread sanitizer is told that a switch orders nothing, so that it sees
/// the races which the simulated threads would have on a real machine.
///
/// Who may call: the simulator.
#ifndef SIM_FIBER_HPP
#define SIM_FIBER_HPP

#include <ucontext.h>

#include <cstddef>

namespace sim {

struct Fiber {
    ucontext_t context;
    bool isResumed;
    void *stack;              ///< Null for the operating system's own stack.
    const void *stackBottom;  ///< As the address sanitizer wants it.
    std::size_t stackSize;
    void *fakeStack;        ///< The address sanitizer's.
    void *sanitizerThread;  ///< The thread sanitizer's.
};

/// Give the fiber a stack, from the pool if possible, on which `entry` runs at the first switch to it.
/// Returns: false when there is no memory.
bool makeFiber(Fiber &fiber, void (*entry)());

/// Make a fiber of the calling stack.
void adoptStack(Fiber &fiber);

/// Leave `from` and go on in `to`. Returns when somebody switches back, which nobody does if `from` ends.
/// Requires: the caller holds one `Unseen`.
void switchFiber(Fiber &from, Fiber &to, bool isEnd);

/// Must be the first call on a new fiber's stack. `from` is where the first fiber was entered from.
void enterFiber(Fiber &self, Fiber *from);

/// Give the stack of a fiber that ended back.
void dropFiber(Fiber &fiber);

/// Keep the stack of a fiber that will never be resumed, with what it refers to.
void abandonFiber(Fiber &fiber);

/// The thread sanitizer's view of the caller: what comes before `releaseTo(object)` is seen after
/// `acquireFrom(object)`.
void releaseTo(void *object);
void acquireFrom(void *object);

/// For a scope, hides the simulator's own data from the thread sanitizer: one thread runs at a time, which it cannot
/// know.
class Unseen {
public:
    Unseen();
    ~Unseen();
    Unseen(const Unseen &) = delete;
    Unseen &operator=(const Unseen &) = delete;
};

}  // namespace sim

#endif
