/// @file
/// The double of DDS_AsyncWaitSetProperty_t_copy.
#include "Double.hpp"
#include "dds_c/dds_c_asyncwaitset.h"

DOUBLE(2, DDS_AsyncWaitSetProperty_t_copy, .failure = nullptr);
