/// @file
/// Words that say what protects what. Clang's thread-safety analysis reads them (preset `analyze`); for every other
/// compiler, and in C, they are comments that cannot rot unseen.
///
/// They stand on the lowest floor because the seam's own mutex carries them.
#ifndef ZYL_ANNOTATIONS_PKG_H
#define ZYL_ANNOTATIONS_PKG_H

#if defined(__cplusplus) && defined(__clang__)
#define ZYL_ANNOTATION_(x) __attribute__((x))
#else
#define ZYL_ANNOTATION_(x)
#endif

/// A type that can be held: a mutex, an exclusive area, a right.
#define ZYL_CAPABILITY(name) ZYL_ANNOTATION_(capability(name))
/// A field that may be touched only while the capability is held.
#define ZYL_GUARDED_BY(capability_) ZYL_ANNOTATION_(guarded_by(capability_))
/// The caller must hold the capability.
#define ZYL_REQUIRES(...) ZYL_ANNOTATION_(requires_capability(__VA_ARGS__))
/// The caller must not hold the capability.
#define ZYL_EXCLUDES(...) ZYL_ANNOTATION_(locks_excluded(__VA_ARGS__))
/// The function takes the capability.
#define ZYL_ACQUIRE(...) ZYL_ANNOTATION_(acquire_capability(__VA_ARGS__))
/// The function takes the capability when it returns the first argument.
#define ZYL_TRY_ACQUIRE(...) ZYL_ANNOTATION_(try_acquire_capability(__VA_ARGS__))
/// The function gives the capability up.
#define ZYL_RELEASE(...) ZYL_ANNOTATION_(release_capability(__VA_ARGS__))
/// From here on the analysis may take the capability for held; the argument is written beside the call.
#define ZYL_ASSERT_HELD(...) ZYL_ANNOTATION_(assert_capability(__VA_ARGS__))
/// The capability must be taken after these.
#define ZYL_ACQUIRED_AFTER(...) ZYL_ANNOTATION_(acquired_after(__VA_ARGS__))
/// The analysis cannot follow this function; a comment says why it is right.
#define ZYL_NOT_ANALYZED ZYL_ANNOTATION_(no_thread_safety_analysis)
/// A plain integer that several threads touch without a lock: only through the verbs of ZYLShared.pkg.hpp.
#define ZYL_SHARED

#endif
