/// @file
/// The double of DDS_AsyncWaitSetThread_initialize. It is noted with the record's index.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(
    2, DDS_AsyncWaitSetThread_initialize, .failure = 0,
    .showing = [](DDS_AsyncWaitSetThread *self, DDS_AsyncWaitSet *owner) {
        return std::to_string(self - owner->_threadPool);
    });
