/// @file
/// Bounded strings and integer-pointer conversions. Thread-safe; nothing blocks.
#ifndef ZYL_OSAPI_UTILITY_PKG_H
#define ZYL_OSAPI_UTILITY_PKG_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Copy at most `maximum` characters and terminate. `capacity` does not count the terminator.
/// @return the destination, or null when the copied part does not fit (the destination is left empty then).
char *ZYLOsapiUtility_strncpy(char *destination, size_t capacity, const char *source, size_t maximum);

/// Append `length` characters and terminate. `capacity` does not count the terminator.
/// @return the destination, or null when the result does not fit (nothing is changed then).
char *ZYLOsapiUtility_strncat(char *destination, size_t capacity, const char *source, size_t length);

/// As the standard's, except that a negative result is the only failure.
int ZYLOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/// Carry a small integer in a pointer, and take it out again.
void *ZYLOsapiUtility_intToPointer(int value);
int ZYLOsapiUtility_pointerToInt(const void *pointer);

#ifdef __cplusplus
}
#endif

#endif
