/// @file
/// Whether messages are printed under a lock.
///
/// Protection: for the test's own thread.
// Replaces: ZYLPlatform_lock ZYLPlatform_unlock
#ifndef LOCK_WITNESS_HPP
#define LOCK_WITNESS_HPP

#include <algorithm>
#include <string>
#include <vector>

#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/platform/Platform.hpp"

/// The application's sink for a scope: follows the mutexes that the test's thread holds, and counts them at every
/// message. When it goes, nothing that was planned with the doubles happens any more.
class LockWitness {
public:
    explicit LockWitness(Doubles &doubles) : _doubles(doubles)
    {
        doubles.on("ZYLPlatform_lock").unnoted().after([this](platform::Mutex &) { ++_held; });
        doubles.on("ZYLPlatform_unlock").unnoted().before([this](platform::Mutex &) { --_held; });
        ZYLLog_setSink(
            [](void *self, const ZYLLogRecord *record) {
                auto *const witness = static_cast<LockWitness *>(self);
                witness->messages.emplace_back(record->text);
                witness->mostHeld = std::max(witness->mostHeld, witness->_held);
            },
            this);
    }
    ~LockWitness()
    {
        _doubles.heal();
        ZYLLog_setSink(nullptr, nullptr);
    }
    LockWitness(const LockWitness &) = delete;
    LockWitness &operator=(const LockWitness &) = delete;

    std::vector<std::string> messages;
    int mostHeld = 0;

private:
    Doubles &_doubles;
    int _held = 0;
};

#endif
