/// @file
/// See Requests.hpp.
#include "Requests.hpp"

#include "DemoTopics.hpp"

namespace demo {

DDS_ReturnCode_t Requests::run(const std::string &name, const Submit &submit)
{
    constexpr DDS_Duration_t limit{30, 0};
    DDS_AsyncWaitSetCompletionToken *token = DDS_AsyncWaitSet_create_completion_token(_waitSet);
    const std::int64_t begin_ns = now_ns();
    DDS_ReturnCode_t retCode = token != nullptr ? submit(token) : DDS_RETCODE_OUT_OF_RESOURCES;
    const std::int64_t submitted_ns = now_ns();
    if (retCode == DDS_RETCODE_OK) retCode = DDS_AsyncWaitSetCompletionToken_wait(token, &limit);
    const std::int64_t done_ns = now_ns();
    if (token != nullptr) {
        const DDS_ReturnCode_t deleted = DDS_AsyncWaitSet_delete_completion_token(_waitSet, token);
        if (retCode == DDS_RETCODE_OK) retCode = deleted;
    }
    if (retCode == DDS_RETCODE_OK) _records.push_back({name, submitted_ns - begin_ns, done_ns - begin_ns});
    return retCode;
}

}  // namespace demo
