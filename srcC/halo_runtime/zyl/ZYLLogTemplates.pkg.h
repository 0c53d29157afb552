/// @file
/// The catalog of message templates: one list, from which the declarations, the definitions and the texts come.
/// A name's suffix tells the placeholders: `s` a string, `d` an integer, in this order.
#ifndef ZYL_LOG_TEMPLATES_PKG_H
#define ZYL_LOG_TEMPLATES_PKG_H

#ifdef __cplusplus
extern "C" {
#endif

/// A message template. It is known by its address; `name` is the name of the object, `format` a printf format.
typedef struct ZYLLogTemplate {
    const char *name;
    const char *format;
} ZYLLogTemplate;

#define ZYL_LOG_TEMPLATES(TEMPLATE)                                                                           \
    TEMPLATE(ZYL_LOG_PRECONDITION_FAILURE_s, "!precondition: %s")                                             \
    TEMPLATE(ZYL_LOG_ANY_FAILURE_s, "!%s")                                                                    \
    TEMPLATE(ZYL_LOG_ANY_s, "%s")                                                                             \
    TEMPLATE(ZYL_LOG_ANY_sssd, "%s%s%s %d")                                                                   \
    TEMPLATE(ZYL_LOG_ASSERT_FAILURE_s, "!assert: %s")                                                         \
    TEMPLATE(ZYL_LOG_CREATION_FAILURE_s, "!create %s")                                                        \
    TEMPLATE(ZYL_LOG_CREATION_FAILURE_ss, "!create %s %s")                                                    \
    TEMPLATE(ZYL_LOG_DELETE_s, "!delete %s")                                                                  \
    TEMPLATE(ZYL_LOG_GET_FAILURE_s, "!get %s")                                                                \
    TEMPLATE(ZYL_LOG_INIT_FAILURE_s, "!init %s")                                                              \
    TEMPLATE(ZYL_LOG_INSUFFICIENT_SPACE_FAILURE_dd, "!insufficient space: have %d, need %d")                  \
    TEMPLATE(ZYL_LOG_MALLOC_FAILURE_d, "!allocate %d bytes")                                                  \
    TEMPLATE(ZYL_LOG_FAILED_TO_LOCK_TEMPLATE, "failed to lock %s")                                            \
    TEMPLATE(ZYL_LOG_FAILED_TO_UNLOCK_TEMPLATE, "failed to unlock %s")                                        \
    TEMPLATE(ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d, "!out of heap: structure of %d bytes")                \
    TEMPLATE(ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd, "!out of heap: array of %d times %d bytes")           \
    TEMPLATE(ZYL_OSAPI_MEMORY_LOG_BAD_BLOCK_s, "!heap block: %s")                                             \
    TEMPLATE(ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "thread %s runs without its %s: the system refused it") \
    TEMPLATE(VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "!%s exclusive area")                                  \
    TEMPLATE(VESK_LOG_WORKER_LEVEL_ORDER_sdsd,                                                                \
             "exclusive area %s of level %d is entered while %s of level %d is held")                         \
    TEMPLATE(DDS_LOG_BAD_PARAMETER_s, "!bad parameter: %s")                                                   \
    TEMPLATE(DDS_LOG_CREATE_FAILURE_s, "!create %s")                                                          \
    TEMPLATE(DDS_LOG_GET_FAILURE_s, "!get %s")                                                                \
    TEMPLATE(DDS_LOG_INITIALIZE_FAILURE_s, "!initialize %s")                                                  \
    TEMPLATE(DDS_LOG_SET_FAILURE_s, "!set %s")                                                                \
    TEMPLATE(DDS_LOG_SEQUENCE_NOT_OWNER, "!the sequence does not own its memory")

#define ZYL_LOG_DECLARE_TEMPLATE_(name_, format_) extern const struct ZYLLogTemplate name_;
ZYL_LOG_TEMPLATES(ZYL_LOG_DECLARE_TEMPLATE_)
#undef ZYL_LOG_DECLARE_TEMPLATE_

#ifdef __cplusplus
}
#endif

#endif
