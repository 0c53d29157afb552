/// @file
/// First use on the simulated machine. What is made belongs to a life of the program: a run that begins with nothing
/// made yet begins a new life, to which the things of the former ones are not made.
#include "SimMachine.hpp"

namespace {

using sim::machine;
using sim::Unseen;

/// Whether somebody is making it. The thread of a failed run never ends what it began.
bool isBeingMade(const ZYLPlatformOnce *self)
{
    const auto *const maker = static_cast<const platform::Thread *>(self->_maker);
    return maker != nullptr && !maker->isAbandoned;
}

/// Wait while another thread is making the thing.
/// Returns: false when it is made; otherwise the caller is to make it.
bool becomeMaker(ZYLPlatformOnce *self, const char *name)
{
    const Unseen unseen;
    if (machine.isRunning) sim::schedule(sim::Operation::make);
    while (isBeingMade(self)) {
        if (!machine.isRunning) sim::stuck("waiting for the maker of", name);
        sim::block(sim::Operation::make, {sim::WaitKind::once, self, name}, platform::noDeadline_ns, false);
    }
    sim::acquireFrom(self);
    if (self->_state == machine.life) return false;
    self->_maker = machine.current;
    return true;
}

void endMaking(ZYLPlatformOnce *self, bool isMade)
{
    const Unseen unseen;
    sim::releaseTo(self);
    self->_maker = nullptr;
    if (isMade) self->_state = machine.life;
    sim::wakeWaiters(sim::WaitKind::once, self);
    if (machine.isRunning) sim::schedule(sim::Operation::make);
}

}  // namespace

int ZYLPlatform_makeOnce(ZYLPlatformOnce *self, const char *name, int (*make)(void *argument), void *argument)
{
    if (!becomeMaker(self, name)) return 1;
    const bool isMade = make(argument) != 0;
    endMaking(self, isMade);
    return isMade ? 1 : 0;
}
