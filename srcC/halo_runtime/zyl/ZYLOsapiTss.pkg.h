/// @file
/// Thread-specific pointers. Thread-safe; each thread sees only its own value, null at first.
#ifndef ZYL_OSAPI_TSS_PKG_H
#define ZYL_OSAPI_TSS_PKG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// @return not 0 on success. A key is for ever.
int ZYLOsapiTss_createKey(uint32_t *keyOut);
/// The calling thread's value; one load.
void *ZYLOsapiTss_get(uint32_t key);
void ZYLOsapiTss_set(uint32_t key, void *value);

#ifdef __cplusplus
}
#endif

#endif
