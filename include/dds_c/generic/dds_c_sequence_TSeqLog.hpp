/// @file
/// The log words of the generic sequence. Each prints at level 2 and yields its first argument.
///
/// Unlike the words of other modules they do not take the function's name from the place where they stand: the
/// algorithms are shared by all instances, and a message names the public operation that ran them. They expect it in a
/// `const char *operation`.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_LOG_HPP
#define DDS_C_GENERIC_SEQUENCE_TSEQ_LOG_HPP

#include "halo_runtime/zyl/ZYLLogWords.pkg.hpp"

#define SEQ_PRINT_(result_, message_, ...)                                                                    \
    ((ZYLLog_isEnabled(ZYL_LOG_LEVEL_WARNING, DDS_SUBMODULE_MASK_SEQUENCE)                                    \
          ? ZYLLogMessage_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_MODULE_DDS, \
                                          ZYLLog_baseName(__FILE__), __LINE__, operation,                     \
                                          &(message_)__VA_OPT__(, ) __VA_ARGS__)                              \
          : static_cast<void>(0)),                                                                            \
     (result_))
#define SEQ_BAD_PARAMETER(result_, parameter_) SEQ_PRINT_(result_, DDS_LOG_BAD_PARAMETER_s, #parameter_)
#define SEQ_ASSERT(result_, text_) SEQ_PRINT_(result_, ZYL_LOG_ASSERT_FAILURE_s, text_)
#define SEQ_FAILED(result_, text_) SEQ_PRINT_(result_, ZYL_LOG_ANY_FAILURE_s, text_)
#define SEQ_SET_FAILED(result_, text_) SEQ_PRINT_(result_, DDS_LOG_SET_FAILURE_s, text_)
#define SEQ_GET_FAILED(result_, text_) SEQ_PRINT_(result_, DDS_LOG_GET_FAILURE_s, text_)
#define SEQ_NOT_OWNER(result_) SEQ_PRINT_(result_, DDS_LOG_SEQUENCE_NOT_OWNER)
#define SEQ_MALLOC_FAILED(result_, bytes_) SEQ_PRINT_(result_, ZYL_LOG_MALLOC_FAILURE_d, bytes_)
#define SEQ_NO_SPACE(result_, have_, need_) \
    SEQ_PRINT_(result_, ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, static_cast<int>(have_), static_cast<int>(need_))

#endif
