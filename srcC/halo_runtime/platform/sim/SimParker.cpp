/// @file
/// Parking on the simulated machine. A parker outlives its thread and serves the next one, as on a real machine, so
/// that stale wake-ups happen here too.
#include <new>

#include "SimMachine.hpp"

namespace {

using platform::Parker;
using sim::machine;
using sim::Unseen;

constinit Parker *firstParker = nullptr;
constinit Parker *lastParker = nullptr;
constinit Parker *freeParkers = nullptr;

/// Outside of a run.
constinit Parker outsideParker{nullptr, false, nullptr, nullptr};

Parker *takeParker()
{
    Parker *parker = freeParkers;
    if (parker != nullptr) {
        freeParkers = parker->nextFree;
        return parker;
    }
    parker = new (std::nothrow) Parker{};
    if (parker == nullptr) sim::stuck("without memory, thread", machine.current->name);
    if (lastParker != nullptr) {
        lastParker->nextOfAll = parker;
    } else {
        firstParker = parker;
    }
    lastParker = parker;
    return parker;
}

Parker *ownParker()
{
    if (!machine.isRunning) return &outsideParker;
    if (machine.current->parker == nullptr) machine.current->parker = takeParker();
    return machine.current->parker;
}

}  // namespace

namespace sim {

void resetParkers()
{
    freeParkers = firstParker;
    for (Parker *parker = firstParker; parker != nullptr; parker = parker->nextOfAll) {
        parker->sleeper = nullptr;
        parker->hasToken = false;
        parker->nextFree = parker->nextOfAll;
    }
}

void giveParkerBack(Thread *thread)
{
    Parker *parker = thread->parker;
    if (parker == nullptr) return;
    thread->parker = nullptr;
    parker->nextFree = freeParkers;
    freeParkers = parker;
}

}  // namespace sim

Parker *ZYLPlatform_currentParker()
{
    const Unseen unseen;
    return ownParker();
}

void ZYLPlatform_park(std::int64_t deadline_ns, const char *reason)
{
    const Unseen unseen;
    Parker *parker = ownParker();
    if (machine.isRunning) {
        sim::schedule(sim::Operation::park);
        if (!parker->hasToken) {
            parker->sleeper = machine.current;
            sim::block(sim::Operation::park, {sim::WaitKind::park, parker, reason}, deadline_ns, true);
            parker->sleeper = nullptr;
        }
    } else if (!parker->hasToken) {
        if (deadline_ns == platform::noDeadline_ns) sim::stuck("parking, reason", reason);
        if (machine.now_ns < deadline_ns) machine.now_ns = deadline_ns;
    }
    parker->hasToken = false;
    sim::acquireFrom(parker);
}

void ZYLPlatform_unpark(Parker *parker)
{
    const Unseen unseen;
    sim::releaseTo(parker);
    parker->hasToken = true;
    if (parker->sleeper != nullptr) sim::makeRunnable(parker->sleeper);
    if (machine.isRunning) sim::schedule(sim::Operation::unpark);
}
