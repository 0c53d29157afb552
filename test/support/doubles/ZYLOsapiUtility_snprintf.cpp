/// @file
/// The double of ZYLOsapiUtility_snprintf, by hand: what stands for the dots is known to the call alone.
#include <cstdarg>
#include <cstdio>

#include "Double.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

using Signature = int(char *, size_t, const char *);
constinit doubled::Double<Signature> theDouble{"ZYLOsapiUtility_snprintf", nullptr,
                                               doubled::Options<Signature>{.failure = -1, .shown = {2}}};
const doubled::Enlisting enlisting(theDouble);

}  // namespace

extern "C" int __wrap_ZYLOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
int __wrap_ZYLOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const auto print = [&](char *to, size_t capacity, const char *how) {
        return std::vsnprintf(to, capacity, how, arguments);
    };
    const int length = theDouble.callOr(print, buffer, size, format);
    va_end(arguments);
    return length;
}
