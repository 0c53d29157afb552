/// @file
/// Strings on the tagged heap.
///
/// Protection: thread-safe; nothing blocks.
#ifndef DDS_STRING_PKG_H
#define DDS_STRING_PKG_H

#ifdef __cplusplus
extern "C" {
#endif

/// A heap copy of a string, or null when memory ended; free with DDS_String_free.
char *DDS_String_dup(const char *string);
/// Free a string made by the heap's string routines. Null is allowed.
void DDS_String_free(char *string);

#ifdef __cplusplus
}
#endif

#endif
