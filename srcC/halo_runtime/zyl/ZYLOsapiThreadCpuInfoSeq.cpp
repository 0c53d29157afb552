/// @file
/// The sequence of CPU information of threads.
///
/// Protection: none. A sequence belongs to one thread at a time.
#include "dds_c/dds_c_asyncwaitset_impl.h"
#include "dds_c/generic/dds_c_sequence_TSeq.hpp"

DDS_SEQUENCE_DEFINE(ZYLOsapiThreadCpuInfoSeq, ZYLOsapiThreadCpuInfo);
