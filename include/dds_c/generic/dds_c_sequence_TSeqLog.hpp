/// @file
/// The log words of the generic sequence. Each prints at level 2 and yields its first argument.
///
/// They do not take the function's name from the place where they stand: the algorithms are shared by all instances,
/// and a message names the public operation that ran them. They expect it in a `const char *operation`.
#ifndef DDS_C_GENERIC_SEQUENCE_TSEQ_LOG_HPP
#define DDS_C_GENERIC_SEQUENCE_TSEQ_LOG_HPP

#include "dds_c_sequence_TSeqSupport.h"

#define DDS_SEQ_PRINT_(result_, message_, text_, have_, need_)                                                     \
    ((ZYLSequenceSupport_isLogEnabled() ? ZYLSequenceSupport_log(message_, __FILE__, __LINE__, operation, text_,   \
                                                                 static_cast<int>(have_), static_cast<int>(need_)) \
                                        : static_cast<void>(0)),                                                   \
     (result_))
#define DDS_SEQ_TEXT_(result_, message_, text_) DDS_SEQ_PRINT_(result_, message_, text_, 0, 0)
#define DDS_SEQ_BAD_PARAMETER(result_, parameter_) DDS_SEQ_TEXT_(result_, ZYL_SEQUENCE_BAD_PARAMETER, #parameter_)
#define DDS_SEQ_ASSERT(result_, text_) DDS_SEQ_TEXT_(result_, ZYL_SEQUENCE_ASSERT_FAILURE, text_)
#define DDS_SEQ_FAILED(result_, text_) DDS_SEQ_TEXT_(result_, ZYL_SEQUENCE_FAILURE, text_)
#define DDS_SEQ_SET_FAILED(result_, text_) DDS_SEQ_TEXT_(result_, ZYL_SEQUENCE_SET_FAILURE, text_)
#define DDS_SEQ_GET_FAILED(result_, text_) DDS_SEQ_TEXT_(result_, ZYL_SEQUENCE_GET_FAILURE, text_)
#define DDS_SEQ_NOT_OWNER(result_) DDS_SEQ_TEXT_(result_, ZYL_SEQUENCE_NOT_OWNER, "")
#define DDS_SEQ_MALLOC_FAILED(result_, bytes_) DDS_SEQ_PRINT_(result_, ZYL_SEQUENCE_MALLOC_FAILURE, "", 0, bytes_)
#define DDS_SEQ_NO_SPACE(result_, have_, need_) \
    DDS_SEQ_PRINT_(result_, ZYL_SEQUENCE_INSUFFICIENT_SPACE, "", have_, need_)

#endif
