/// @file
/// A notice: one thread waits for it once, another raises it once. It lives on the waiter's stack and allocates
/// nothing, so that waiting for it cannot fail.
///
/// Protection: the record that the notice is registered in must be protected by the caller; raising touches nothing of
/// the notice after the waiter could have seen it.
#ifndef ZYL_OSAPI_NOTICE_PKG_H
#define ZYL_OSAPI_NOTICE_PKG_H

#include "../platform/Annotations.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZYLOsapiNotice {
    int _isRaised ZYL_SHARED;  ///< Handoff: 1 tells everything that came before the raise.
    void *_waiter;             ///< Where the waiting thread sleeps; const after initialization.
} ZYLOsapiNotice;

/// Prepare a notice that the calling thread will wait for.
void ZYLOsapiNotice_initialize(struct ZYLOsapiNotice *self);
/// Wait for it; `reason` names it in dead-lock reports.
/// Blocks.
void ZYLOsapiNotice_wait(struct ZYLOsapiNotice *self, const char *reason);
/// Raise it. The notice may be gone when this returns.
void ZYLOsapiNotice_raise(struct ZYLOsapiNotice *self);

#ifdef __cplusplus
}
#endif

#endif
