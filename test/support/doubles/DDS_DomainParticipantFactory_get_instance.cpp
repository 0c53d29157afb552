/// @file
/// The double of DDS_DomainParticipantFactory_get_instance.
#include "Double.hpp"
#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"

DOUBLE(0, DDS_DomainParticipantFactory_get_instance, .failure = nullptr);
