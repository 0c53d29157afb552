/// @file
/// The double of realloc. Only calls in the program itself come here, none of a shared library.
#include <cstdlib>

#include "Double.hpp"

// The attributes of its declaration are for callers.
#pragma GCC diagnostic ignored "-Wignored-attributes"

DOUBLE(2, realloc, .failure = nullptr, .shown = {1});
