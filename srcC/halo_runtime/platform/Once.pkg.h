/// @file
/// What is made at first use: by one thread, while the others wait for it; again, if that failed.
///
/// A part of the seam, and in the place of local statics of functions: their hidden lock keeps a simulated thread, and
/// with it the whole machine, where the scheduler cannot see it, and they remember a failure for ever.
///
/// Who may call: the whole library.
#ifndef ZYL_PLATFORM_ONCE_PKG_H
#define ZYL_PLATFORM_ONCE_PKG_H

#include "Annotations.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Says whether a thing has been made. All zero: it has not. Only ZYLPlatform_makeOnce touches it.
typedef struct ZYLPlatformOnce {
    unsigned _state ZYL_SHARED;  ///< Handoff: "made" tells everything that the maker did.
    const void *_maker;          ///< Who is making it, where the platform wants to know.
} ZYLPlatformOnce;

/// See to it that the thing is made: `make(argument)` is called unless it has succeeded before. Whoever is told that
/// the thing is made sees all that its maker did. `name` appears in dead-lock reports. Requires: `make` does not ask
/// for the same thing.
/// @return not 0 when it is made; 0 when `make`, called by this call, returned 0. The next call tries again, and so
/// does one that has waited for it meanwhile. Blocks while another thread is making it. Calls out: `make`, with nothing
/// held.
int ZYLPlatform_makeOnce(struct ZYLPlatformOnce *self, const char *name, int (*make)(void *argument), void *argument);

#ifdef __cplusplus
}
#endif

#endif
