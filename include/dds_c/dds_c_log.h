/// @file
/// The log of the library: which messages are printed, where they go, and the hooks around precondition failures.
///
/// A message is printed when its level bit is set in `DDSLog_g_instrumentationMask` and the bit of the submodule that
/// prints it is set in `DDSLog_g_submoduleMask`. A closed gate costs two loads: nothing of the message is evaluated.
#ifndef DDS_C_LOG_H
#define DDS_C_LOG_H

#include "dds_c_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A caller broke a rule (a null pointer where one is required).
#define ZYL_LOG_LEVEL_PRECONDITION 0x01u
/// Something failed.
#define ZYL_LOG_LEVEL_WARNING 0x02u
/// An operation had nothing to do.
#define ZYL_LOG_LEVEL_NOTICE 0x04u
/// What the pool threads and the public operations do, step by step.
#define ZYL_LOG_LEVEL_TRACE 0x08u
/// Every dispatch of a condition handler.
#define ZYL_LOG_LEVEL_DISPATCH 0x40u

/// Bit of the sequence container in the submodule mask.
#define DDS_SUBMODULE_MASK_SEQUENCE 0x1u
/// Bit of the wait set, the conditions and the thread factory in the submodule mask.
#define DDS_SUBMODULE_MASK_INFRASTRUCTURE 0x4u
/// Bit of the asynchronous wait set in the submodule mask.
#define DDS_SUBMODULE_MASK_ASYNC_WAITSET 0x800u

/// Level bits that are printed; 0x3 (precondition failures and warnings) at start. The application may write it while
/// no other thread is in the library; later it calls `DDSLog_setInstrumentationMask`.
DDS_API extern uint32_t DDSLog_g_instrumentationMask;
/// Submodule bits that are printed; all at start. Written while no other thread is in the library.
DDS_API extern uint32_t DDSLog_g_submoduleMask;
/// Category masks, indexed by level; a worker whose activity context shares a bit with the entry of level 2 prints the
/// two messages about a leadership that could not be taken or given up even when the gate is shut. All 0 at start.
/// Written while no other thread is in the library.
DDS_API extern uint32_t ZYLLog_g_categoryMask[8];
/// When not 0, a precondition failure sets `ZYLLog_g_preconditionDetected`. Written while no other thread is in the
/// library.
DDS_API extern int ZYLLog_g_detectPrecondition;
/// Set to 1 by a precondition failure while `ZYLLog_g_detectPrecondition` is not 0. Read and cleared by the application
/// while no other thread is in the library.
DDS_API extern int ZYLLog_g_preconditionDetected;

/// Set the level bits that are printed. Other threads may be in the library; they see the change a moment later.
/// @param levels  ZYL_LOG_LEVEL bits; 0 prints nothing.
/// Thread-safe; does not block.
DDS_API void DDSLog_setInstrumentationMask(uint32_t levels);

/// Is called at every precondition failure, printed or not; a place for a breakpoint.
DDS_API void ZYLLog_onAssertBreakpoint(void);

/// One printed message, as an application sink receives it. All pointers are valid only during the call. A text of more
/// than 2047 characters is cut and ends in three dots; that of a trace line, in three dots and a newline.
typedef struct ZYLLogRecord {
    uint32_t level;                ///< One of the ZYL_LOG_LEVEL bits.
    uint32_t module;               ///< 0xF0000 for messages of the wait set, 0 for trace lines.
    const char *file;              ///< Source file, without its folder.
    int line;                      ///< Source line.
    const char *function;          ///< The function that printed it.
    const char *message_template;  ///< Name of the catalog template, or the format of a trace line.
    const char *text;              ///< The finished text.
} ZYLLogRecord;

/// An application sink. It may be called from any thread, from several at once, and with locks of the library held:
/// it must call nothing of the library.
typedef void (*ZYLLogSink)(void *sink_data, const ZYLLogRecord *record);

/// Install a sink that receives every printed message instead of standard error; null brings the default back.
///
/// The default sink writes whole lines to standard error: level, function, message. A line is one write, however long
/// it is; one that memory does not suffice for is cut and ends in three dots. What a function prints is kept until its
/// newline, so that the two prints of a trace line come out as one line.
///
/// The application's sink receives each print by itself. It must call nothing of the library: messages are also printed
/// inside the critical section of a wait set, and an operation called there may wait for ever.
///
/// The sink must stay callable until it has been replaced and every call that may still be printing has returned.
/// @param sink       the function, or null.
/// @param sink_data  passed back as its first argument.
/// Thread-safe; does not block.
DDS_API void ZYLLog_setSink(ZYLLogSink sink, void *sink_data);

#ifdef __cplusplus
}
#endif

#endif
