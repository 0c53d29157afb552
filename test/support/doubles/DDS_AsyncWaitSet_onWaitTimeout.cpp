/// @file
/// The double of DDS_AsyncWaitSet_onWaitTimeout. It is noted with the thread's index.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(
    2, DDS_AsyncWaitSet_onWaitTimeout,
    .showing = [](DDS_AsyncWaitSet *, DDS_AsyncWaitSetThread *thread) { return std::to_string(thread->index); });
