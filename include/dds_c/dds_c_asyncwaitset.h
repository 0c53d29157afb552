/// @file
/// The asynchronous wait set: conditions with handlers on one side, a pool of threads on the other.
///
/// An application attaches conditions, starts the wait set, and the pool waits for the conditions to trigger and runs
/// their handlers. Never two threads of one wait set are in one condition (unless its handler asks for it with
/// DDS_AsyncWaitSet_unlock_condition), a slow handler holds up no other, and every change of a started wait set is
/// carried out by the pool threads themselves: each of them executes the request once, and they meet after it.
///
/// **Completion.** Each verb takes a completion token. With one of its own the caller is told later, through
/// DDS_AsyncWaitSetCompletionToken_wait; with DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE never; with
/// DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT the call blocks until the request is done and returns its
/// outcome. The short forms do the last. On a wait set that is not started, attach, detach and stop are carried out by
/// the calling thread and are complete when the call returns.
///
/// **Threads.** All operations may be called from any thread, several at once, except delete. A pool thread (that is: a
/// handler or a listener callback) may submit requests to its own wait set but never wait for them; it may submit to
/// and wait on another wait set only if that one's `level` is higher than its own's.
///
/// **What users should know.**
/// - While a request is pending the pool comes to rest behind its slowest running handler. A handler that waits for
///   another handler of the same pool dead-locks. Never wait for a request while you hold a lock that a handler takes.
/// - After an early unlock two threads may run one handler, and the first one's end clears the lock mark of the second.
/// - A short form called from inside a handler of the same wait set is carried out, but its wait is refused:
///   DDS_RETCODE_PRECONDITION_NOT_MET does not mean there that nothing happens. Use a token of your own, or the IGNORE
///   token where it is allowed.
/// - "Never two threads in one handler" holds for each wait set. A condition that is attached to two started wait sets
/// can
///   be run by both at once, and so it can by DDS_Condition_dispatch beside a pool.
/// - Listener callbacks for attach and detach on a wait set that is not started run with its critical section held:
///   call nothing that waits from them, and no other wait set.
/// - No callback may throw, or end its thread: the process ends with one line that says which one did.
/// - A thread-local object of a pool thread may use the wait set in its destructor, except to start it (refused unless
/// it
///   is started) or to delete it (refused). It may wait on another wait set only if that one's level is higher, as a
///   handler; nothing refuses that there. It must not use a wait set that is being deleted.
/// - A condition that its handler leaves triggered is dispatched again at once.
#ifndef DDS_C_ASYNCWAITSET_H
#define DDS_C_ASYNCWAITSET_H

#include "dds_c_common.h"
#include "dds_c_condition.h"
#include "dds_c_threadfactory.h"
#include "dds_c_waitset.h"

#ifdef __cplusplus
extern "C" {
#endif

/// An asynchronous wait set. Opaque.
typedef struct DDS_AsyncWaitSetImpl DDS_AsyncWaitSet;
/// A completion token. Opaque.
typedef struct DDS_AsyncWaitSetCompletionTokenImpl DDS_AsyncWaitSetCompletionToken;

/// How an asynchronous wait set is built; copied at creation, fixed afterwards. Start from
/// DDS_ASYNC_WAITSET_PROPERTY_DEFAULT.
typedef struct DDS_AsyncWaitSetProperty_t {
    struct DDS_WaitSetProperty_t waitset_property;  ///< When the waiting thread wakes. Default { 1, infinite }.
    DDS_UnsignedLong thread_pool_size;              ///< Number of pool threads, at least 1. Default 1.
    struct DDS_ThreadSettings_t thread_settings;    ///< Given to the thread factory for every pool thread.
    char *thread_name_prefix;                       ///< Its first 8 characters begin every thread's name. Default null.
    struct DDS_Duration_t wait_timeout;             ///< Idle time after which on_wait_timeout is called. Infinite.
    DDS_Long level;                                 ///< Nesting level, below 0x7fffffff. Default 1.
} DDS_AsyncWaitSetProperty_t;

/// The defaults named above. Copy it, change the copy; `thread_name_prefix` of the copy may point at any string while
/// the copy is passed to a constructor.
DDS_API extern const struct DDS_AsyncWaitSetProperty_t DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;

/// Make an empty property that DDS_AsyncWaitSetProperty_t_copy and _finalize accept.
/// @retval DDS_RETCODE_OK             initialized.
/// @retval DDS_RETCODE_BAD_PARAMETER  null.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSetProperty_t_initialize(struct DDS_AsyncWaitSetProperty_t *self);

/// Deep copy into an initialized property: its own prefix string and its own CPU list.
/// @return `self`, or null for a null argument or when memory ended; `self` can be finalized either way.
DDS_API struct DDS_AsyncWaitSetProperty_t *DDS_AsyncWaitSetProperty_t_copy(
    struct DDS_AsyncWaitSetProperty_t *self, const struct DDS_AsyncWaitSetProperty_t *source);

/// Release what a copy allocated. Only for properties that were initialized and filled by a copy.
/// @retval DDS_RETCODE_OK             released.
/// @retval DDS_RETCODE_BAD_PARAMETER  null.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSetProperty_t_finalize(struct DDS_AsyncWaitSetProperty_t *self);

/// A thread event; `thread_id` is the operating system's.
typedef void (*DDS_AsyncWaitSetListener_OnThreadCallback)(void *listener_data, DDS_UnsignedLongLong thread_id);
/// A condition event.
typedef void (*DDS_AsyncWaitSetListener_OnConditionCallback)(void *listener_data, DDS_Condition *condition);

/// What the application wants to hear of. Every callback may be null. They run on pool threads (the last two on the
/// calling thread while the wait set is not started), now on one and now on another. A pool thread leads while it is in
/// one, so keep them short: no handler is begun before they return.
typedef struct DDS_AsyncWaitSetListener {
    void *listener_data;                                          ///< First argument of every callback.
    DDS_AsyncWaitSetListener_OnThreadCallback on_thread_spawned;  ///< In a new pool thread, which leads just then.
    DDS_AsyncWaitSetListener_OnThreadCallback on_thread_deleted;  ///< In a pool thread that executes a stop.
    DDS_AsyncWaitSetListener_OnThreadCallback on_wait_timeout;    ///< `wait_timeout` passed without an event.
    DDS_AsyncWaitSetListener_OnConditionCallback on_condition_attached;  ///< A condition has been attached.
    DDS_AsyncWaitSetListener_OnConditionCallback on_condition_detached;  ///< A condition has been detached.
} DDS_AsyncWaitSetListener;

/// Create a wait set without a listener. See DDS_AsyncWaitSet_new_with_thread_factory.
DDS_API DDS_AsyncWaitSet *DDS_AsyncWaitSet_new(const struct DDS_AsyncWaitSetProperty_t *property);

/// Create a wait set with the default thread factory. See DDS_AsyncWaitSet_new_with_thread_factory.
/// @param listener  may be null.
DDS_API DDS_AsyncWaitSet *DDS_AsyncWaitSet_new_with_listener(const struct DDS_AsyncWaitSetProperty_t *property,
                                                             const struct DDS_AsyncWaitSetListener *listener);

/// Create a wait set: not started, no threads, nothing attached.
///
/// @param property        not null; copied.
/// @param listener        copied; may be null. `listener_data` must outlive the wait set.
/// @param thread_factory  not null, with both callbacks (DDS_THREAD_FACTORY_USE_DEFAULT excepted); copied.
/// `factory_data`
///                        must outlive the wait set.
/// @return the wait set, or null for a bad argument or property (`thread_pool_size` 0, `level` 0x7fffffff, a
///         `max_event_count` below 1, a negative or malformed duration) or when memory ended. The caller owns it and
///         gives it to DDS_AsyncWaitSet_delete.
DDS_API DDS_AsyncWaitSet *DDS_AsyncWaitSet_new_with_thread_factory(const struct DDS_AsyncWaitSetProperty_t *property,
                                                                   const struct DDS_AsyncWaitSetListener *listener,
                                                                   const struct DDS_ThreadFactory *thread_factory);

/// Stop the wait set if it is started, detach every condition, delete its idle tokens, release everything.
///
/// Not thread-safe: nothing else may use the wait set meanwhile or afterwards.
/// Blocks until every pool thread has ended.
/// Calls out: the listener; the thread factory's `delete_thread`.
/// @retval DDS_RETCODE_OK                    deleted.
/// @retval DDS_RETCODE_BAD_PARAMETER         null.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  a completion token made by it has not been deleted; or the calling thread
/// is
///                                           one of its own: a pool thread, or one that has left the pool and has not
///                                           been joined. Nothing changed, except that a started wait set stops when
///                                           this was called from one of its handlers.
/// @return any other code: of the step that failed; the object stays and may be deleted again.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_delete(DDS_AsyncWaitSet *self);

/// Deep-copy the property that the wait set was created with.
/// @param property  not null; filled by DDS_AsyncWaitSetProperty_t_initialize or _copy (a copy of the default property
///                  whose `thread_name_prefix` points at a string of the caller's must not be passed: that string would
///                  be freed). The caller finalizes it.
/// @retval DDS_RETCODE_OK             copied.
/// @retval DDS_RETCODE_BAD_PARAMETER  a null argument.
/// @retval DDS_RETCODE_ERROR          memory ended.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_get_property(DDS_AsyncWaitSet *self,
                                                       struct DDS_AsyncWaitSetProperty_t *property);

/// Token argument: nobody is told. Recognised by its address.
DDS_API extern DDS_AsyncWaitSetCompletionToken *const DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE;
/// Token argument: the call waits until the request is done, on a token that the wait set lends itself. Recognised by
/// its address.
DDS_API extern DDS_AsyncWaitSetCompletionToken *const DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;

/// Create a completion token for requests to this wait set; it can be used again and again, for one request at a time.
/// The token may be a recycled one, whose last request is processed already: a wait on it before its first submission
/// returns DDS_RETCODE_OK then, and is refused for a new one.
/// @return the token, or null for a null `self` or when memory ended. The wait set cannot be deleted before the token.
/// Blocks only for the critical section.
DDS_API DDS_AsyncWaitSetCompletionToken *DDS_AsyncWaitSet_create_completion_token(DDS_AsyncWaitSet *self);

/// Delete a completion token. Deleting one of the two special tokens does nothing.
/// @retval DDS_RETCODE_OK                    deleted.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  it belongs to another wait set, or its request is still pending.
/// @retval DDS_RETCODE_ERROR                 the critical section failed.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_delete_completion_token(DDS_AsyncWaitSet *self,
                                                                  DDS_AsyncWaitSetCompletionToken *completion_token);

/// Wait until the request that the token was last submitted with is done, and learn its outcome.
///
/// An outcome is told once: waiting again for a request that is done already returns DDS_RETCODE_OK, also when the
/// first wait blocked.
/// @param completion_token  not null, not one of the two special tokens.
/// @param timeout           not null; infinite means no limit.
/// @return the request's outcome once it is done: DDS_RETCODE_OK or the code of what failed in it.
/// @retval DDS_RETCODE_TIMEOUT               the time has passed; the request is still pending.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument or a token without an owner.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  called on a pool thread of the token's wait set, or of one whose level is
///                                           not lower; another thread waits on the token; the token was never
///                                           submitted; or the calling thread holds the wait set's critical section.
/// @retval DDS_RETCODE_ERROR                 the critical section or the time-out conversion failed.
/// Blocks until the request is done or the time has passed.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSetCompletionToken_wait(DDS_AsyncWaitSetCompletionToken *completion_token,
                                                              const struct DDS_Duration_t *timeout);

/// Start the pool: create `thread_pool_size` threads.
///
/// Starting a started wait set is a successful no-op that uses no token; it is still started while a stop is pending,
/// so wait for the stop first. A start after a stop waits until the old threads are gone, joins them with nothing held,
/// and only then creates new ones. With a token of your own, a start that fails completes it with DDS_RETCODE_ERROR and
/// the wait set can be deleted; the short form keeps the token that it was lent, and the wait set cannot be deleted any
/// more.
/// @param completion_token  not null.
/// @retval DDS_RETCODE_OK                    started (with the implicit token: and every thread runs).
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  the token is in use or foreign; the nesting rule refuses; or, on a thread
/// of
///                                           this wait set (one that has left its pool included) or under its critical
///                                           section, an old pool is still ending.
/// @retval DDS_RETCODE_ERROR                 a thread or another resource could not be had.
/// Blocks until the threads of a former start have ended.
/// Calls out: the thread factory, to create with the critical section held, to delete with nothing held; the listener,
/// in the new threads.
DDS_API DDS_ReturnCode_t
DDS_AsyncWaitSet_start_with_completion_token(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *completion_token);
/// DDS_AsyncWaitSet_start_with_completion_token, waiting until every pool thread runs.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_start(DDS_AsyncWaitSet *self);

/// Stop the pool: every thread ends after the requests before this one. Conditions stay attached; a suspended wait set
/// is running again at its next start. Until the stop is done every other request is refused.
/// @param completion_token  not null and not the IGNORE token.
/// @retval DDS_RETCODE_OK                    requested (with the implicit token: and done).
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument or the IGNORE token.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  a stop is already pending; the token is in use or foreign; or the nesting
///                                           rule refuses.
/// @return any other code: of the service that failed.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_stop_with_completion_token(DDS_AsyncWaitSet *self,
                                                                     DDS_AsyncWaitSetCompletionToken *completion_token);
/// DDS_AsyncWaitSet_stop_with_completion_token, waiting until every pool thread has acknowledged the stop.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_stop(DDS_AsyncWaitSet *self);

/// Suspend dispatching: no handler is begun until resume; requests and time-outs go on. Conditions that trigger
/// meanwhile are dispatched after resume if they are still triggered.
/// @retval DDS_RETCODE_OK                    requested (with the implicit token: and done).
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  not started, or as for stop.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_suspend_with_completion_token(
    DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *completion_token);
/// Resume dispatching. Results as for suspend.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_resume_with_completion_token(
    DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *completion_token);

/// Attach a condition. Attaching it twice changes nothing.
/// @param condition         not null; must stay valid until it has been detached.
/// @param completion_token  not null.
/// @retval DDS_RETCODE_OK                    requested (with the implicit token: and done).
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  as for stop.
/// @return any other code: of the service that failed.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition_with_completion_token(
    DDS_AsyncWaitSet *self, DDS_Condition *condition, DDS_AsyncWaitSetCompletionToken *completion_token);
/// DDS_AsyncWaitSet_attach_condition_with_completion_token, waiting until the condition is attached.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition);

/// Detach a condition. When this is done its handler does not run and will not run. Detaching a condition that is not
/// attached changes nothing. Arguments and results as for attach.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition_with_completion_token(
    DDS_AsyncWaitSet *self, DDS_Condition *condition, DDS_AsyncWaitSetCompletionToken *completion_token);
/// DDS_AsyncWaitSet_detach_condition_with_completion_token, waiting until the condition is detached.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition);

/// @return whether the wait set is started; false for null. Lock-free: a start or stop in progress is seen either way.
DDS_API DDS_Boolean DDS_AsyncWaitSet_is_started(DDS_AsyncWaitSet *self);

/// Fill a sequence with the attached conditions, in no particular order. Its maximum becomes one more than their
/// number, so a sequence that cannot have that maximum fails.
/// @retval DDS_RETCODE_OK             filled.
/// @retval DDS_RETCODE_BAD_PARAMETER  a null argument.
/// @retval DDS_RETCODE_ERROR          the sequence could not be grown; it keeps the length it had reached.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_get_conditions(DDS_AsyncWaitSet *self,
                                                         struct DDS_ConditionSeq *attached_conditions);

/// From inside a handler: let other pool threads dispatch its condition while the handler goes on. Unlocking twice is
/// allowed. With a pool of one thread this does nothing.
/// @param condition  the condition that the calling handler was called for.
/// @retval DDS_RETCODE_OK                    unlocked, or nothing was locked.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  not called on a pool thread, or not for the condition being dispatched.
/// @return any other code: of the wait set; the condition stays locked.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_unlock_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition);

#ifdef __cplusplus
}
#endif

#endif
