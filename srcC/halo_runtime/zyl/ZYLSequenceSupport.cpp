/// @file
/// What sequences need of the library, those that applications define included: the heap and the log behind exported
/// functions.
///
/// Protection: thread-safe, no lock. Calls out: the log's sink.
#include <cstring>

#include "ZYLLogWords.pkg.hpp"
#include "ZYLOsapiHeap.pkg.h"
#include "dds_c/generic/dds_c_sequence_TSeqSupport.h"

namespace {

/// The catalog's template of a message that shows a text, or nothing.
const ZYLLogTemplate &textTemplate(ZYLSequenceMessage message)
{
    switch (message) {
        case ZYL_SEQUENCE_BAD_PARAMETER:
            return DDS_LOG_BAD_PARAMETER_s;
        case ZYL_SEQUENCE_ASSERT_FAILURE:
            return ZYL_LOG_ASSERT_FAILURE_s;
        case ZYL_SEQUENCE_GET_FAILURE:
            return DDS_LOG_GET_FAILURE_s;
        case ZYL_SEQUENCE_SET_FAILURE:
            return DDS_LOG_SET_FAILURE_s;
        case ZYL_SEQUENCE_NOT_OWNER:
            return DDS_LOG_SEQUENCE_NOT_OWNER;
        default:
            return ZYL_LOG_ANY_FAILURE_s;
    }
}

const char *withoutFolder(const char *file)
{
    const char *slash = std::strrchr(file, '/');
    return slash != nullptr ? slash + 1 : file;
}

}  // namespace

void *ZYLSequenceSupport_allocateBuffer(size_t size)
{
    return ZYLOsapiHeap_allocateArray<unsigned char>(size, "T");
}

void ZYLSequenceSupport_freeBuffer(void *buffer)
{
    ZYLOsapiHeap_freeArray(buffer);
}

DDS_Boolean ZYLSequenceSupport_isLogEnabled(void)
{
    return ZYLLog_isEnabled(ZYL_LOG_LEVEL_WARNING, DDS_SUBMODULE_MASK_SEQUENCE) ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

void ZYLSequenceSupport_log(ZYLSequenceMessage message, const char *file, int line, const char *operation,
                            const char *text, DDS_Long have, DDS_Long need)
{
    const auto print = [=](const ZYLLogTemplate &shape, auto... values) {
        ZYLLogMessage_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_MODULE_DDS,
                                      withoutFolder(file), line, operation, &shape, values...);
    };
    if (message == ZYL_SEQUENCE_MALLOC_FAILURE)
        print(ZYL_LOG_MALLOC_FAILURE_d, need);
    else if (message == ZYL_SEQUENCE_INSUFFICIENT_SPACE)
        print(ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, have, need);
    else
        print(textTemplate(message), text);
}
