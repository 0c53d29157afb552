/// @file
/// Ends the process when it hangs.
///
/// Protection: `enter` may be called by any thread.
#ifndef DEMO_WATCHDOG_HPP
#define DEMO_WATCHDOG_HPP

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace demo {

class Watchdog {
public:
    /// Every step must take less than this.
    /// Throws: std::system_error when the thread could not be had.
    explicit Watchdog(std::chrono::seconds limit);
    ~Watchdog();
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    /// A new step begins.
    void enter(const std::string &step);

private:
    void watch();

    const std::chrono::seconds _limit;
    std::mutex _mutex;  // protects everything below
    std::condition_variable _changed;
    std::string _step = "begin";
    unsigned _steps = 0;
    bool _isOver = false;
    std::thread _thread;
};

}  // namespace demo

#endif
