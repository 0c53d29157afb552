/// @file
/// See Names.hpp.
#include "Names.hpp"

#include <map>
#include <mutex>

namespace {

std::mutex namesMutex;

/// Guarded by the mutex. It is never destroyed, because objects may be shown as late as at the end of the program.
std::map<const void *, std::string> &names()
{
    static auto *const all = new std::map<const void *, std::string>;
    return *all;
}

}  // namespace

namespace doubled {

void setName(const void *object, const std::string &name)
{
    const std::lock_guard lock(namesMutex);
    if (name.empty())
        names().erase(object);
    else
        names()[object] = name;
}

std::string nameOf(const void *object, const char *kind)
{
    if (object == nullptr) return "null";
    const std::lock_guard lock(namesMutex);
    const auto entry = names().find(object);
    return entry != names().end() ? entry->second : std::string("an unnamed ") + kind;
}

std::string nameOf(DDS_ReturnCode_t retCode)
{
    switch (retCode) {
        case DDS_RETCODE_OK:
            return "DDS_RETCODE_OK";
        case DDS_RETCODE_ERROR:
            return "DDS_RETCODE_ERROR";
        case DDS_RETCODE_UNSUPPORTED:
            return "DDS_RETCODE_UNSUPPORTED";
        case DDS_RETCODE_BAD_PARAMETER:
            return "DDS_RETCODE_BAD_PARAMETER";
        case DDS_RETCODE_PRECONDITION_NOT_MET:
            return "DDS_RETCODE_PRECONDITION_NOT_MET";
        case DDS_RETCODE_OUT_OF_RESOURCES:
            return "DDS_RETCODE_OUT_OF_RESOURCES";
        case DDS_RETCODE_NOT_ENABLED:
            return "DDS_RETCODE_NOT_ENABLED";
        case DDS_RETCODE_IMMUTABLE_POLICY:
            return "DDS_RETCODE_IMMUTABLE_POLICY";
        case DDS_RETCODE_INCONSISTENT_POLICY:
            return "DDS_RETCODE_INCONSISTENT_POLICY";
        case DDS_RETCODE_ALREADY_DELETED:
            return "DDS_RETCODE_ALREADY_DELETED";
        case DDS_RETCODE_TIMEOUT:
            return "DDS_RETCODE_TIMEOUT";
        case DDS_RETCODE_NO_DATA:
            return "DDS_RETCODE_NO_DATA";
        case DDS_RETCODE_ILLEGAL_OPERATION:
            return "DDS_RETCODE_ILLEGAL_OPERATION";
    }
    return std::to_string(static_cast<int>(retCode));
}

}  // namespace doubled
