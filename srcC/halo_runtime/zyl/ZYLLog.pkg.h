/// @file
/// Printing: the three operations behind the log words. Callers test the gate first; see ZYLLogWords.pkg.hpp.
///
/// Protection: thread-safe, no lock. Calls out: the application's sink.
#ifndef ZYL_LOG_PKG_H
#define ZYL_LOG_PKG_H

#include <stdint.h>

#include "ZYLLogTemplates.pkg.h"
#include "dds_c/dds_c_log.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Module id in the head of catalog messages.
#define ZYL_LOG_MODULE_DDS 0xF0000u
/// Instrument id in the head of catalog messages.
#define ZYL_LOG_INSTRUMENT_NONE (-1)

/// Print a catalog message with the values of its placeholders. A newline is added. A text of more than 2047 characters
/// is cut and ends in three dots.
void ZYLLogMessage_printWithParams(int instrument, uint32_t level, uint32_t module, const char *file, int line,
                                   const char *function, const struct ZYLLogTemplate *message, ...);

/// Print a printf format as it stands; the text holds its own newline. One of more than 2047 characters is cut and ends
/// in three dots and a newline.
void ZYLLogParamString_printWithParams(int instrument, uint32_t level, uint32_t module, const char *file, int line,
                                       const char *function, const char *format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 7, 8)))
#endif
    ;

/// Print a catalog message with one string. A newline is added.
void ZYLLogMessageParamString_printWithParams(int instrument, uint32_t level, uint32_t module, const char *file,
                                              int line, const char *function, const struct ZYLLogTemplate *message,
                                              const char *argument);

#ifdef __cplusplus
}
#endif

#endif
