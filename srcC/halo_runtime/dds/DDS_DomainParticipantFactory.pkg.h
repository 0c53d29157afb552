/// @file
/// The process-wide factory, as far as the wait set needs it: an owner for what is created, and the source of the
/// default thread factory. Thread-safe.
#ifndef DDS_DOMAIN_PARTICIPANT_FACTORY_PKG_H
#define DDS_DOMAIN_PARTICIPANT_FACTORY_PKG_H

#include "dds_c/dds_c_threadfactory.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct DDS_DomainParticipantFactory DDS_DomainParticipantFactory;

/// The one instance; never null.
DDS_DomainParticipantFactory *DDS_DomainParticipantFactory_get_instance(void);
/// The default thread factory, by value.
struct DDS_ThreadFactory DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory *self);

#ifdef __cplusplus
}
#endif

#endif
