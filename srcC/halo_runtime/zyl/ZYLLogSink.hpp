/// @file
/// Where a finished message goes: to the application's sink, or as a line to standard error.
///
/// Protection: thread-safe, no lock. Calls out: the application's sink.
#ifndef ZYL_LOG_SINK_HPP
#define ZYL_LOG_SINK_HPP

#include "dds_c/dds_c_log.h"

/// Hand a message to the sink that is installed now. `isLine` adds the newline that standard error needs; an
/// application sink gets the text without it.
/// Calls out: the application's sink.
void ZYLLogSink_deliver(const struct ZYLLogRecord &record, bool isLine);

#endif
