/// @file
/// What the sequence template needs of the library: memory for its buffers, and the log.
///
/// An application does not call these. They are what the operations that DDS_SEQUENCE_DEFINE defines, in the
/// application's own source file, reach the library through.
///
/// Protection: thread-safe. Nothing blocks beyond the system's allocator. Calls out: the log's sink.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_SUPPORT_H
#define DDS_C_GENERIC_SEQUENCE_TSEQ_SUPPORT_H

#include "../dds_c_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Alignment of every buffer, in bytes.
#define ZYL_SEQUENCE_BUFFER_ALIGNMENT 16

/// Make a buffer of `size` bytes; 0 fails. The bytes are not cleared.
/// @return the buffer, or null when memory ended.
DDS_API void *ZYLSequenceSupport_allocateBuffer(size_t size);

/// Free a buffer; null is allowed. One that ZYLSequenceSupport_allocateBuffer did not make is reported as a
/// precondition failure and left alone.
DDS_API void ZYLSequenceSupport_freeBuffer(void *buffer);

/// The messages of a sequence, and what of the arguments of ZYLSequenceSupport_log each of them shows.
typedef enum ZYLSequenceMessage {
    ZYL_SEQUENCE_BAD_PARAMETER = 0,      ///< `text`, a parameter's name.
    ZYL_SEQUENCE_ASSERT_FAILURE = 1,     ///< `text`, the rule that is broken.
    ZYL_SEQUENCE_FAILURE = 2,            ///< `text`, what failed.
    ZYL_SEQUENCE_GET_FAILURE = 3,        ///< `text`, what could not be read.
    ZYL_SEQUENCE_SET_FAILURE = 4,        ///< `text`, what could not be set.
    ZYL_SEQUENCE_NOT_OWNER = 5,          ///< Nothing.
    ZYL_SEQUENCE_MALLOC_FAILURE = 6,     ///< `need`, in bytes.
    ZYL_SEQUENCE_INSUFFICIENT_SPACE = 7  ///< `have` and `need`, in elements.
} ZYLSequenceMessage;

/// Whether a sequence's messages are printed now. To be asked first: with the gate shut nothing of a message is
/// evaluated.
DDS_API DDS_Boolean ZYLSequenceSupport_isLogEnabled(void);

/// Print a message at level 2, whatever the gate.
/// @param file       the source file; its folder is not shown.
/// @param operation  name of the public operation that speaks.
/// @param text       shown by some messages only, as are the numbers.
/// Calls out: the log's sink.
DDS_API void ZYLSequenceSupport_log(ZYLSequenceMessage message, const char *file, int line, const char *operation,
                                    const char *text, DDS_Long have, DDS_Long need);

#ifdef __cplusplus
}
#endif

#endif
