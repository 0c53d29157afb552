/// @file
/// An element type of an application, and its sequence, for C and C++.
#ifndef POINT_H
#define POINT_H

#include <dds_c/generic/dds_c_sequence_TSeq.h>

typedef struct Point {
    char name;
    double x, y;
} Point;
DDS_SEQUENCE(PointSeq, Point);

#ifdef __cplusplus
extern "C" {
#endif

/// Use the sequence from C. Returns: the number of the line that failed, 0 when none did.
int usePointsInC(void);

#ifdef __cplusplus
}
#endif

#endif
