/// @file
/// Names for the objects of a test, so that a failure prints "condition A" and not an address, and a return code prints
/// the name of its constant. The test framework finds the functions `PrintTo` by their names.
///
/// Protection: thread-safe.
#ifndef NAMES_HPP
#define NAMES_HPP

#include <ostream>
#include <string>

#include "dds_c/dds_c_asyncwaitset.h"

struct DDS_AWSTaskInfo;
struct DDS_AsyncWaitSetThread;
struct VESKExclusiveArea;
struct VESKWorker;

namespace doubled {

/// Give the object a name, or with an empty one take it away.
void setName(const void *object, const std::string &name);
/// Returns: the object's name, "null", or "an unnamed `kind`".
std::string nameOf(const void *object, const char *kind = "object");

/// What an object without a name is called.
template <class Object>
constexpr const char *kindOf = "object";
template <>
inline constexpr const char *kindOf<DDS_Condition> = "condition";
template <>
inline constexpr const char *kindOf<DDS_GuardCondition> = "guard condition";
template <>
inline constexpr const char *kindOf<DDS_CountingCondition> = "counting condition";
template <>
inline constexpr const char *kindOf<DDS_WaitSet> = "wait set";
template <>
inline constexpr const char *kindOf<DDS_AsyncWaitSet> = "asynchronous wait set";
template <>
inline constexpr const char *kindOf<DDS_AsyncWaitSetCompletionToken> = "token";
template <>
inline constexpr const char *kindOf<DDS_AsyncWaitSetThread> = "thread record";
template <>
inline constexpr const char *kindOf<DDS_AWSTaskInfo> = "request record";
template <>
inline constexpr const char *kindOf<VESKExclusiveArea> = "area";
template <>
inline constexpr const char *kindOf<VESKWorker> = "worker";

/// Returns: the constant's name, or its number when there is none.
std::string nameOf(DDS_ReturnCode_t retCode);

}  // namespace doubled

// For the test framework: a pointer prints as its object's name. One function for each type and constness, or else
// the framework's own template fits better.
#define DOUBLED_PRINTS(type_)                                   \
    inline void PrintTo(const type_ *object, std::ostream *os)  \
    {                                                           \
        *os << doubled::nameOf(object, doubled::kindOf<type_>); \
    }                                                           \
    inline void PrintTo(type_ *object, std::ostream *os)        \
    {                                                           \
        PrintTo(static_cast<const type_ *>(object), os);        \
    }                                                           \
    static_assert(true, "")

DOUBLED_PRINTS(DDS_Condition);
DOUBLED_PRINTS(DDS_GuardCondition);
DOUBLED_PRINTS(DDS_CountingCondition);
DOUBLED_PRINTS(DDS_WaitSet);
DOUBLED_PRINTS(DDS_AsyncWaitSet);
DOUBLED_PRINTS(DDS_AsyncWaitSetCompletionToken);
DOUBLED_PRINTS(DDS_AsyncWaitSetThread);
DOUBLED_PRINTS(DDS_AWSTaskInfo);
DOUBLED_PRINTS(VESKExclusiveArea);
DOUBLED_PRINTS(VESKWorker);

#undef DOUBLED_PRINTS

inline void PrintTo(DDS_ReturnCode_t retCode, std::ostream *os)
{
    *os << doubled::nameOf(retCode);
}

#endif
