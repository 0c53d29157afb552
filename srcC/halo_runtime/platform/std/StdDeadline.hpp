/// @file
/// Condition variables that count in monotonic time.
///
/// Who may call: this folder.
#ifndef STD_DEADLINE_HPP
#define STD_DEADLINE_HPP

#include <pthread.h>

#include "../Platform.hpp"

namespace platform {

/// Initialise the condition variable for `waitUntil`.
void initMonotonicCondition(pthread_cond_t *condition);

/// Wait until woken, until the deadline, or for no reason.
/// Blocks.
void waitUntil(pthread_cond_t *condition, pthread_mutex_t *mutex, std::int64_t deadline_ns);

}  // namespace platform

#endif
