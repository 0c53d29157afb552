/// @file
/// Bounded strings and integer-pointer conversions.
///
/// Protection: thread-safe; nothing blocks.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "ZYLOsapiUtility.pkg.h"

namespace {

std::size_t boundedLength(const char *string, std::size_t maximum)
{
    const void *end = std::memchr(string, '\0', maximum);
    return end != nullptr ? static_cast<std::size_t>(static_cast<const char *>(end) - string) : maximum;
}

}  // namespace

char *ZYLOsapiUtility_strncpy(char *destination, size_t capacity, const char *source, size_t maximum)
{
    if (destination == nullptr || source == nullptr) return nullptr;
    const std::size_t length = boundedLength(source, maximum);
    if (length > capacity) {
        destination[0] = '\0';
        return nullptr;
    }
    std::memcpy(destination, source, length);
    destination[length] = '\0';
    return destination;
}

char *ZYLOsapiUtility_strncat(char *destination, size_t capacity, const char *source, size_t length)
{
    if (destination == nullptr || source == nullptr) return nullptr;
    const std::size_t used = boundedLength(destination, capacity);
    const std::size_t added = boundedLength(source, length);
    if (added > capacity - used) return nullptr;
    std::memcpy(destination + used, source, added);
    destination[used + added] = '\0';
    return destination;
}

int ZYLOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

void *ZYLOsapiUtility_intToPointer(int value)
{
    return reinterpret_cast<void *>(static_cast<std::intptr_t>(value));
}

int ZYLOsapiUtility_pointerToInt(const void *pointer)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(pointer));
}
