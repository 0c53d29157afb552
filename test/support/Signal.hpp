/// @file
/// A semaphore for tests that works on both platforms.
#ifndef SIGNAL_HPP
#define SIGNAL_HPP

#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

class Signal {
public:
    Signal() : _semaphore(ZYLOsapiSemaphore_new("test signal")) {}
    ~Signal() { ZYLOsapiSemaphore_delete(_semaphore); }
    Signal(const Signal &) = delete;
    Signal &operator=(const Signal &) = delete;

    void give() { ZYLOsapiSemaphore_give(_semaphore); }
    /// Blocks until it was given as often as it is taken.
    void take(int times = 1)
    {
        for (int i = 0; i < times; ++i) ZYLOsapiSemaphore_take(_semaphore, nullptr);
    }

private:
    ZYLOsapiSemaphore *_semaphore;
};

#endif
