/// @file
/// The default choices for element memory, from which every sequence starts.
///
/// Protection: constants; any thread may read them at any time, static initialization included.
#include "dds_c/generic/dds_c_sequence_TSeq.h"

const struct DDS_TypeAllocationParams_t DDS_TYPE_ALLOCATION_PARAMS_DEFAULT = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE,
                                                                              DDS_BOOLEAN_TRUE};
const struct DDS_TypeDeallocationParams_t DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE};
