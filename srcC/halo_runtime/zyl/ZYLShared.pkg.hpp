/// @file
/// Verbs for plain integers that several threads touch without a lock. The fields stay plain because the records are
/// C; every access goes through one of these, so that it is atomic and visible in the text.
///
/// Read and write: the value means only itself. Handoff: seeing the value means seeing all that its writer did before.
/// If in doubt it is a handoff. In the simulation build the scheduler may switch threads before every access.
#ifndef ZYL_SHARED_PKG_HPP
#define ZYL_SHARED_PKG_HPP

#include <atomic>

#include "../platform/Platform.hpp"

template <class Field>
inline Field sharedRead(const Field &field)
{
    platform::schedulingPoint();
    return std::atomic_ref<Field>(const_cast<Field &>(field)).load(std::memory_order_relaxed);
}

template <class Field, class Value>
inline void sharedWrite(Field &field, Value value)
{
    platform::schedulingPoint();
    std::atomic_ref<Field>(field).store(static_cast<Field>(value), std::memory_order_relaxed);
}

template <class Field>
inline Field handoffRead(const Field &field)
{
    platform::schedulingPoint();
    return std::atomic_ref<Field>(const_cast<Field &>(field)).load(std::memory_order_acquire);
}

template <class Field, class Value>
inline void handoffWrite(Field &field, Value value)
{
    platform::schedulingPoint();
    std::atomic_ref<Field>(field).store(static_cast<Field>(value), std::memory_order_release);
}

/// Write and return the old value, ordered both ways.
template <class Field, class Value>
inline Field handoffExchange(Field &field, Value value)
{
    platform::schedulingPoint();
    return std::atomic_ref<Field>(field).exchange(static_cast<Field>(value), std::memory_order_acq_rel);
}

/// Add and return the new value, ordered both ways.
template <class Field, class Value>
inline Field handoffAdd(Field &field, Value value)
{
    platform::schedulingPoint();
    const Field amount = static_cast<Field>(value);
    return static_cast<Field>(std::atomic_ref<Field>(field).fetch_add(amount, std::memory_order_acq_rel) + amount);
}

#endif
