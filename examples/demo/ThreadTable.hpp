/// @file
/// Which threads ran handlers, by name, and how often.
///
/// Protection: any thread may count; the table is read when the pool is stopped.
#ifndef DEMO_THREAD_TABLE_HPP
#define DEMO_THREAD_TABLE_HPP

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace demo {

class ThreadTable {
public:
    /// Count a dispatch on the calling thread. Threads of one name, as a restarted pool has them, share a row.
    void countDispatch()
    {
        thread_local std::atomic<std::uint64_t> *row = nullptr;
        if (row == nullptr) row = &find();
        row->fetch_add(1, std::memory_order_relaxed);
    }

    const std::map<std::string, std::atomic<std::uint64_t>> &rows() const { return _rows; }

private:
    std::atomic<std::uint64_t> &find()
    {
        char name[32] = "";
        pthread_getname_np(pthread_self(), name, sizeof name);
        const std::lock_guard lock(_mutex);
        return _rows[name];
    }

    std::mutex _mutex;
    std::map<std::string, std::atomic<std::uint64_t>> _rows;  // rows stay where they are
};

}  // namespace demo

#endif
