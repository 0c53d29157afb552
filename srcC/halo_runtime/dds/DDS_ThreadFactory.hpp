/// @file
/// The default thread factory, for the participant factory, which hands it out.
#ifndef DDS_THREAD_FACTORY_HPP
#define DDS_THREAD_FACTORY_HPP

#include "dds_c/dds_c_threadfactory.h"

/// The default factory: real threads with the given settings; its handles are `platform::Thread *`. Thread-safe.
/// A setting that the system refuses is reported and left out; a shortage of threads or memory gives no thread.
struct DDS_ThreadFactory DDS_ThreadFactory_getDefaultI();

#endif
