/// @file
/// The double of pthread_create. Only calls in the program itself come here, none of a shared library.
#include <pthread.h>

#include <cerrno>

#include "Double.hpp"

// The attributes of its declaration are for callers.
#pragma GCC diagnostic ignored "-Wignored-attributes"

DOUBLE(4, pthread_create, .failure = EAGAIN);
