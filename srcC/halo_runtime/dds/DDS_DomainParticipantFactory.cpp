/// @file
/// The process-wide factory. It has no state: it is an owner by its address, and knows the default thread factory.
///
/// Protection: none needed.
#include "DDS_DomainParticipantFactory.pkg.h"
#include "DDS_ThreadFactory.hpp"

struct DDS_DomainParticipantFactory {};

namespace {
DDS_DomainParticipantFactory theFactory;
}

DDS_DomainParticipantFactory *DDS_DomainParticipantFactory_get_instance(void)
{
    return &theFactory;
}

struct DDS_ThreadFactory DDS_DomainParticipantFactory_get_default_thread_factory(
    DDS_DomainParticipantFactory * /*self*/)
{
    return DDS_ThreadFactory_getDefaultI();
}
