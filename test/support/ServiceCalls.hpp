/// @file
/// Calls of replaced services: their order, and which of them are to fail. A test program that replaces services at
/// link time lets each replacement ask `ServiceCalls::fails` before it calls the real one.
///
/// Protection: belongs to the thread that made it. Calls on other threads, and calls while no record lives, are not
/// noted and never fail, so that a fault on the test's own thread costs no pool thread.
#ifndef SERVICE_CALLS_HPP
#define SERVICE_CALLS_HPP

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

class ServiceCalls {
public:
    ServiceCalls() : _former(std::exchange(current, this)) {}
    ~ServiceCalls() { current = _former; }
    ServiceCalls(const ServiceCalls &) = delete;
    ServiceCalls &operator=(const ServiceCalls &) = delete;

    /// Let the nth call from now on fail, once.
    void fail(const std::string &service, int nth = 1) { _faults[service] = {nth, false}; }
    /// Let the nth call from now on and all later ones fail.
    void failFrom(const std::string &service, int nth = 1) { _faults[service] = {nth, true}; }
    /// Let nothing fail any more.
    void heal() { _faults.clear(); }
    /// Forget the calls so far.
    void clear() { _calls.clear(); }

    /// How many calls have failed.
    int failedCount() const { return _failedCount; }
    /// The calls in order; a call noted with an argument reads "service(argument)".
    const std::vector<std::string> &list() const { return _calls; }
    int count(const std::string &call) const
    {
        return static_cast<int>(std::count(_calls.begin(), _calls.end(), call));
    }

    /// Note a call. Returns: whether it has to fail.
    static bool fails(const std::string &service, const std::string &argument = {})
    {
        if (current == nullptr) return false;
        return current->note(service, argument);
    }
    /// Whether the calling thread's calls are noted.
    static bool isNoting() { return current != nullptr; }

private:
    struct Fault {
        int remaining;
        bool lasts;
    };

    bool note(const std::string &service, const std::string &argument)
    {
        _calls.push_back(argument.empty() ? service : service + "(" + argument + ")");
        const auto fault = _faults.find(service);
        if (fault == _faults.end()) return false;
        if (fault->second.remaining > 1) {
            --fault->second.remaining;
            return false;
        }
        if (!fault->second.lasts) _faults.erase(fault);
        ++_failedCount;
        return true;
    }

    inline static thread_local ServiceCalls *current = nullptr;
    ServiceCalls *_former;
    std::map<std::string, Fault> _faults;
    std::vector<std::string> _calls;
    int _failedCount = 0;
};

#endif
