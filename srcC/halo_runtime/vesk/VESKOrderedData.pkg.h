/// @file
/// The type of functions that order data in a list.
#ifndef VESK_ORDERED_DATA_PKG_H
#define VESK_ORDERED_DATA_PKG_H

/// Negative when `left` sorts before `right`.
typedef int (*VESKOrderedDataTypeCompareWithUserDataFunction)(const void *left, const void *right,
                                                              const void *userData);

#endif
