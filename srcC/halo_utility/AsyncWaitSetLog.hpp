/// @file
/// The words for checks and messages of this folder. Each is an expression that prints if the gate is open and yields
/// its first argument. File, line and function are those of the place where the word stands, and the function is always
/// a documented operation: a helper either returns what failed as a *step*, which the operation's one exit prints, or
/// is passed the operation's name and speaks for it.
#ifndef ASYNC_WAIT_SET_LOG_HPP
#define ASYNC_WAIT_SET_LOG_HPP

#include "AsyncWaitSetRecords.pkg.h"
#include "halo_runtime/zyl/ZYLLogWords.pkg.hpp"
#include "halo_runtime/zyl/ZYLOsapiThread.pkg.h"

#define AWS_SUBMODULE DDS_SUBMODULE_MASK_ASYNC_WAITSET

/// A null argument that the caller must not pass.
#define AWS_NULL(result_, argument_) AWS_PRECONDITION(result_, #argument_ " == ((void *)0)")
/// Another rule that the caller broke; the text is the broken condition.
#define AWS_PRECONDITION(result_, text_) ZYL_PRECONDITION(result_, AWS_SUBMODULE, text_)

/// A message from the catalog.
#define AWS_FAILED_AS(result_, message_, ...) \
    (ZYL_PRINT(ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE, message_, __VA_ARGS__), (result_))
/// A parameter check of a public operation; the name comes from the identifier.
#define AWS_BAD_PARAMETER(result_, parameter_) AWS_FAILED_AS(result_, DDS_LOG_BAD_PARAMETER_s, #parameter_)
/// Something called here failed.
#define AWS_FAILED(result_, what_) AWS_FAILED_AS(result_, ZYL_LOG_ANY_FAILURE_s, what_)
/// Something could not be had.
#define AWS_GET_FAILED(result_, what_) AWS_FAILED_AS(result_, ZYL_LOG_GET_FAILURE_s, what_)
/// Entering or leaving an exclusive area failed: "enter" or "leave".
#define AWS_AREA_FAILED(result_, what_) AWS_FAILED_AS(result_, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, what_)
/// A legal call that cannot be served now.
#define AWS_REFUSED(result_, why_) AWS_FAILED_AS(result_, ZYL_LOG_ANY_s, why_)
/// Failed, and we carry on.
#define AWS_WARN(what_) AWS_FAILED(static_cast<void>(0), what_)
/// Nothing to do.
#define AWS_NOTICE(result_, why_) (ZYL_PRINT(ZYL_LOG_LEVEL_NOTICE, AWS_SUBMODULE, ZYL_LOG_ANY_s, why_), (result_))

/// A helper warns for the operation whose name it was passed.
#define AWS_WARN_FOR(operation_, what_) \
    ZYL_PRINT_FOR(operation_, ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE, ZYL_LOG_ANY_FAILURE_s, what_)
#define AWS_REFUSED_FOR(operation_, why_) \
    ZYL_PRINT_FOR(operation_, ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE, ZYL_LOG_ANY_s, why_)

/// How a step of an operation ended; see the words below. Whoever gets one that failed prints it (AWS_REPORT), undoes
/// what was done, and returns its code.
struct AWSStep {
    DDS_ReturnCode_t retCode = DDS_RETCODE_OK;       ///< OK: nothing failed, and the rest means nothing.
    const struct ZYLLogTemplate *message = nullptr;  ///< Null: there is nothing to say.
    const char *what = nullptr;                      ///< The message's argument, or
    int numbers[2] = {};                             ///< its two, when `what` is null.
    const char *detail = nullptr;                    ///< Second argument of a message that has one.
    bool isAreaLost = false;                         ///< The critical section was left and could not be entered again.

    bool hasFailed() const { return retCode != DDS_RETCODE_OK; }
};

/// A step that failed with a message from the catalog, with its argument or arguments.
#define AWS_STEP_FAILED_AS(retCode_, message_, what_) (AWSStep{retCode_, &(message_), what_})
/// A step in which a text did not fit: the size of its place, and its length.
#define AWS_STEP_NO_SPACE(size_, length_)            \
    (AWSStep{DDS_RETCODE_ERROR,                      \
             &ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, \
             nullptr,                                \
             {static_cast<int>(size_), static_cast<int>(length_)}})
/// A step that could not create something of a kind with that name.
#define AWS_STEP_CREATION_FAILED(kind_, name_) \
    (AWSStep{DDS_RETCODE_ERROR, &ZYL_LOG_CREATION_FAILURE_ss, kind_, {}, name_})
/// A step in which something that it called failed.
#define AWS_STEP_FAILED(retCode_, what_) AWS_STEP_FAILED_AS(retCode_, ZYL_LOG_ANY_FAILURE_s, what_)
/// A step that cannot be served now.
#define AWS_STEP_REFUSED(retCode_, why_) AWS_STEP_FAILED_AS(retCode_, ZYL_LOG_ANY_s, why_)
/// A step that could not enter or leave the critical section.
#define AWS_STEP_AREA_FAILED(what_) \
    AWS_STEP_FAILED_AS(DDS_RETCODE_ERROR, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, what_)

/// The same, and the critical section, in which the step had begun, is lost.
inline AWSStep AWS_lostArea(const char *what)
{
    AWSStep step = AWS_STEP_AREA_FAILED(what);
    step.isAreaLost = true;
    return step;
}

/// Print what a failed step has to say; yields its code. Nothing for one that went well.
#define AWS_REPORT(step_) AWS_printStep(step_, ZYLLog_baseName(__FILE__), __LINE__, __func__)

/// The nesting rule refuses a pool thread: `kind_` names the kind of wait set in the text.
#define AWS_DEAD_LOCK_RISK(result_, kind_, self_, thread_) \
    AWS_DEAD_LOCK_RISK_FOR(result_, __func__, kind_, self_, (thread_)->_threadId, (thread_)->_owner->_property.level)
/// The same, said by a helper for the operation whose name it was passed, of a thread of that id and level.
#define AWS_DEAD_LOCK_RISK_FOR(result_, operation_, kind_, self_, threadId_, level_)                               \
    (ZYL_PRINT_TEXT_FOR(operation_, ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE,                                          \
                        "%s: tid %llu dead lock risk: cannot enter " kind_ " of level %d from " kind_              \
                        " of level %d\n",                                                                          \
                        operation_, static_cast<unsigned long long>(threadId_), (self_)->_property.level, level_), \
     (result_))

/// Leadership that could not be taken or given up; printed also when the worker's activity is of a chosen category.
#define AWS_LEADERSHIP_FAILED(result_, worker_, message_)                                                              \
    ((ZYLLog_isEnabled(ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE) || AWS_isActivityLogged(worker_))                         \
         ? ZYLLogMessageParamString_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING,                    \
                                                    ZYL_LOG_MODULE_DDS, ZYLLog_baseName(__FILE__), __LINE__, __func__, \
                                                    &(message_), "Pool synchronizer EA.")                              \
         : static_cast<void>(0),                                                                                       \
     (result_))

/// A pool thread did something: two prints that become one line. Nothing for a null thread.
#define AWS_TRACE_THREAD(thread_, text_) AWS_TRACE_THREAD_AS(thread_, ZYL_LOG_LEVEL_TRACE, "%s\n", text_)
/// The same with a second level and a format.
#define AWS_TRACE_THREAD_AS(thread_, level_, ...)                                                               \
    do {                                                                                                        \
        if (ZYLLog_isEnabled(ZYL_LOG_LEVEL_TRACE | (level_), AWS_SUBMODULE)) {                                  \
            const DDS_AsyncWaitSetThread *const tracedThread = (thread_);                                       \
            if (tracedThread != nullptr) {                                                                      \
                ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, AWS_SUBMODULE, "[AWS|%s]: ", AWS_threadName(tracedThread)); \
                ZYL_PRINT_TEXT(level_, AWS_SUBMODULE, __VA_ARGS__);                                             \
            }                                                                                                   \
        }                                                                                                       \
    } while (false)
/// A public operation sends a request.
#define AWS_TRACE_CALL(text_)                                              \
    ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, AWS_SUBMODULE, "[AWS|%llu]: %s\n", \
                   static_cast<unsigned long long>(ZYLOsapiThread_getCurrentThreadID()), text_)

/// Print the message of a step that failed, if the gate is open. Returns: its code.
inline DDS_ReturnCode_t AWS_printStep(const AWSStep &step, const char *file, int line, const char *function)
{
    if (step.message == nullptr || !ZYLLog_isEnabled(ZYL_LOG_LEVEL_WARNING, AWS_SUBMODULE)) return step.retCode;
    if (step.what != nullptr)
        ZYLLogMessage_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_MODULE_DDS, file, line,
                                      function, step.message, step.what, step.detail);
    else
        ZYLLogMessage_printWithParams(ZYL_LOG_INSTRUMENT_NONE, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_MODULE_DDS, file, line,
                                      function, step.message, step.numbers[0], step.numbers[1]);
    return step.retCode;
}

/// The thread's name for a message.
inline const char *AWS_threadName(const DDS_AsyncWaitSetThread *thread)
{
    return thread->_threadName != nullptr ? thread->_threadName : "";
}

/// Whether the worker is doing something of a category that is logged at level 2.
inline bool AWS_isActivityLogged(const VESKWorker *worker)
{
    return worker != nullptr && worker->_activityContext != nullptr &&
           (worker->_activityContext->category & ZYLLog_g_categoryMask[ZYL_LOG_LEVEL_WARNING]) != 0;
}

#endif
