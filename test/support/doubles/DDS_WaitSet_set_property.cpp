/// @file
/// The double of DDS_WaitSet_set_property. It is noted with the number of events.
#include "Double.hpp"
#include "dds_c/dds_c_waitset.h"

DOUBLE(
    2, DDS_WaitSet_set_property, .failure = DDS_RETCODE_OUT_OF_RESOURCES,
    .showing = [](DDS_WaitSet *, const DDS_WaitSetProperty_t *property) {
        return std::to_string(property->max_event_count);
    });
