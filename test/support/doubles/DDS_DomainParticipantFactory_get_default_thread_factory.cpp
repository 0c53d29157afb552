/// @file
/// The double of DDS_DomainParticipantFactory_get_default_thread_factory.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"

DOUBLE(1, DDS_DomainParticipantFactory_get_default_thread_factory, .failure = DDS_ThreadFactory{});
