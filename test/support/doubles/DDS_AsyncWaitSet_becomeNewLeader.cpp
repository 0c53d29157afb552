/// @file
/// The double of DDS_AsyncWaitSet_becomeNewLeader. It is noted with the thread's index.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(
    2, DDS_AsyncWaitSet_becomeNewLeader, .failure = 0,
    .showing = [](DDS_AsyncWaitSet *, DDS_AsyncWaitSetThread *thread) { return std::to_string(thread->index); });
