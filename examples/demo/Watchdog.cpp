/// @file
/// See Watchdog.hpp.
#include "Watchdog.hpp"

#include <unistd.h>

#include <cstdio>

namespace demo {

Watchdog::Watchdog(std::chrono::seconds limit) : _limit(limit), _thread([this] { watch(); }) {}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(_mutex);
        _isOver = true;
    }
    _changed.notify_all();
    _thread.join();
}

void Watchdog::enter(const std::string &step)
{
    {
        const std::lock_guard lock(_mutex);
        _step = step;
        ++_steps;
    }
    _changed.notify_all();
}

void Watchdog::watch()
{
    std::unique_lock lock(_mutex);
    while (!_isOver) {
        const unsigned steps = _steps;
        if (_changed.wait_for(lock, _limit, [&] { return _isOver || _steps != steps; })) continue;
        std::fprintf(stderr, "demo: FAILED: hung for %d s in step '%s'\n", static_cast<int>(_limit.count()),
                     _step.c_str());
        _exit(1);  // the publisher ends when its pipe closes
    }
}

}  // namespace demo
