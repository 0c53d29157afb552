/// @file
/// The vocabulary that every public header shares: basic types, return codes, durations and NTP time.
///
/// Protection: everything here is a value or a constant; any thread may use it at any time.
#ifndef DDS_C_COMMON_H
#define DDS_C_COMMON_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define DDS_API __attribute__((visibility("default")))
#else
#define DDS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// One byte: 0 is false, everything else is true.
typedef uint8_t DDS_Boolean;
/// Signed 32-bit integer.
typedef int32_t DDS_Long;
/// Unsigned 32-bit integer.
typedef uint32_t DDS_UnsignedLong;
/// Unsigned 64-bit integer; thread ids have this type.
typedef uint64_t DDS_UnsignedLongLong;

/// The two values that this library stores in a DDS_Boolean.
#define DDS_BOOLEAN_FALSE ((DDS_Boolean)0)
#define DDS_BOOLEAN_TRUE ((DDS_Boolean)1)

/// The standard's return codes, with the standard's values.
typedef enum DDS_ReturnCode_t {
    DDS_RETCODE_OK = 0,                    ///< Done.
    DDS_RETCODE_ERROR = 1,                 ///< Failed; the log line says where.
    DDS_RETCODE_UNSUPPORTED = 2,           ///< Not supported.
    DDS_RETCODE_BAD_PARAMETER = 3,         ///< An argument breaks its rule; nothing was changed.
    DDS_RETCODE_PRECONDITION_NOT_MET = 4,  ///< A legal call that the object's state does not allow now.
    DDS_RETCODE_OUT_OF_RESOURCES = 5,      ///< Memory or another resource ended.
    DDS_RETCODE_NOT_ENABLED = 6,           ///< The object is not enabled.
    DDS_RETCODE_IMMUTABLE_POLICY = 7,      ///< The policy cannot be changed any more.
    DDS_RETCODE_INCONSISTENT_POLICY = 8,   ///< The policies contradict one another.
    DDS_RETCODE_ALREADY_DELETED = 9,       ///< The object is gone.
    DDS_RETCODE_TIMEOUT = 10,              ///< The time given to a wait has passed.
    DDS_RETCODE_NO_DATA = 11,              ///< Nothing to return.
    DDS_RETCODE_ILLEGAL_OPERATION = 12     ///< The operation is not allowed here.
} DDS_ReturnCode_t;

/// A span of time. `nanosec` is below one thousand million, except in the infinite duration.
typedef struct DDS_Duration_t {
    DDS_Long sec;              ///< Whole seconds; not negative where a time-out is expected.
    DDS_UnsignedLong nanosec;  ///< Nanoseconds added to `sec`.
} DDS_Duration_t;

/// Both fields of the infinite duration.
#define DDS_DURATION_INFINITE_SEC ((DDS_Long)0x7fffffff)
#define DDS_DURATION_INFINITE_NSEC ((DDS_UnsignedLong)0x7fffffff)

/// "No time limit": both fields are 0x7fffffff.
DDS_API extern const struct DDS_Duration_t DDS_DURATION_INFINITE;
/// No time at all.
DDS_API extern const struct DDS_Duration_t DDS_DURATION_ZERO;

/// A time as seconds and a binary fraction of a second (`frac` / 2^32).
typedef struct ZYLNtpTime {
    int64_t sec;    ///< Whole seconds.
    uint32_t frac;  ///< Fraction of a second in units of 2^-32 s.
} ZYLNtpTime;

#ifdef __cplusplus
}
#endif

#endif
