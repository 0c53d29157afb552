/// @file
/// An application's sequence of C structs, used by a file in C.
#include "Point.h"

int usePointsInC(void)
{
    const Point corners[] = {{'a', 1, 2}, {'b', 3, 4}, {'c', 5, 6}};
    Point back[3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    PointSeq one = DDS_SEQUENCE_INITIALIZER;
    PointSeq other = DDS_SEQUENCE_INITIALIZER;
    if (!PointSeq_from_array(&one, corners, 3)) return __LINE__;
    if (PointSeq_copy(&other, &one) != &other || PointSeq_get_length(&other) != 3) return __LINE__;
    if (PointSeq_get(&other, 1).y != 4 || PointSeq_get_reference(&other, 2)->name != 'c') return __LINE__;
    if (!PointSeq_to_array(&other, back, 3) || back[0].x != 1 || back[2].y != 6) return __LINE__;
    if (!PointSeq_set_length(&other, 5) || PointSeq_get(&other, 4).x != 0) return __LINE__;
    if (!PointSeq_finalize(&one) || !PointSeq_finalize(&other)) return __LINE__;
    return 0;
}
