/// @file
/// The words for checks and messages of this folder. Each is an expression that prints if the gate is open and yields
/// its first argument. File, line and function are those of the place where the word stands, so only documented
/// operations use them, and never while they hold a lock of a wait set or a condition.
#ifndef DDS_LOG_HPP
#define DDS_LOG_HPP

#include "../zyl/ZYLLogWords.pkg.hpp"

/// A message from the catalog.
#define DDS_FAILED_AS(result_, message_, ...) \
    (ZYL_PRINT(ZYL_LOG_LEVEL_WARNING, DDS_SUBMODULE_MASK_INFRASTRUCTURE, message_, __VA_ARGS__), (result_))
/// A parameter check; the name comes from the identifier.
#define DDS_BAD_PARAMETER(result_, parameter_) DDS_FAILED_AS(result_, DDS_LOG_BAD_PARAMETER_s, #parameter_)
/// Something could not be made.
#define DDS_CREATE_FAILED(result_, what_) DDS_FAILED_AS(result_, DDS_LOG_CREATE_FAILURE_s, what_)
/// Something called here failed.
#define DDS_FAILED(result_, what_) DDS_FAILED_AS(result_, ZYL_LOG_ANY_FAILURE_s, what_)
/// A legal call that cannot be served now.
#define DDS_REFUSED(result_, why_) DDS_FAILED_AS(result_, ZYL_LOG_ANY_s, why_)

#endif
