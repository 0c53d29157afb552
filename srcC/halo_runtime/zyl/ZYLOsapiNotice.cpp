/// @file
/// The notice.
///
/// Protection: raising takes what it needs before it writes the flag, because the waiter's stack may be gone right
/// after that; the place where a thread sleeps is never given back.
#include "../platform/Platform.hpp"
#include "ZYLOsapiNotice.pkg.h"
#include "ZYLShared.pkg.hpp"

void ZYLOsapiNotice_initialize(struct ZYLOsapiNotice *self)
{
    self->_isRaised = 0;
    self->_waiter = ZYLPlatform_currentParker();
}

void ZYLOsapiNotice_wait(struct ZYLOsapiNotice *self, const char *reason)
{
    while (handoffRead(self->_isRaised) == 0) ZYLPlatform_park(platform::noDeadline_ns, reason);
}

void ZYLOsapiNotice_raise(struct ZYLOsapiNotice *self)
{
    auto *waiter = static_cast<platform::Parker *>(self->_waiter);
    handoffWrite(self->_isRaised, 1);
    ZYLPlatform_unpark(waiter);
}
