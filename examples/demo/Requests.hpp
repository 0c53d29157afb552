/// @file
/// Requests to the wait set, each with a completion token, and how long they took.
///
/// Protection: belongs to one thread.
#ifndef DEMO_REQUESTS_HPP
#define DEMO_REQUESTS_HPP

#include <dds_c/dds_c_asyncwaitset.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace demo {

/// A request that was carried out.
struct RequestRecord {
    std::string name;
    std::int64_t submitted_ns;  ///< How long the submission took.
    std::int64_t done_ns;       ///< How long it took until the request was done.
};

class Requests {
public:
    explicit Requests(DDS_AsyncWaitSet *waitSet) : _waitSet(waitSet) {}

    using Submit = std::function<DDS_ReturnCode_t(DDS_AsyncWaitSetCompletionToken *token)>;

    /// Submit a request with a token of its own, and wait until it is done.
    /// Returns: OK when it was carried out; otherwise what its submission returned, or else its wait.
    /// Blocks: until then, but not longer than any sane request takes.
    DDS_ReturnCode_t run(const std::string &name, const Submit &submit);

    const std::vector<RequestRecord> &records() const { return _records; }

private:
    DDS_AsyncWaitSet *const _waitSet;
    std::vector<RequestRecord> _records;
};

}  // namespace demo

#endif
