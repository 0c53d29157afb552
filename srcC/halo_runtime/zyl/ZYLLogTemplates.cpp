/// @file
/// The catalog's objects, from the one list in ZYLLogTemplates.pkg.h.
///
/// Protection: constants.
#include "ZYLLogTemplates.pkg.h"

#define ZYL_LOG_DEFINE_TEMPLATE_(name_, format_) const struct ZYLLogTemplate name_ = {#name_, format_};
ZYL_LOG_TEMPLATES(ZYL_LOG_DEFINE_TEMPLATE_)
#undef ZYL_LOG_DEFINE_TEMPLATE_
