/// @file
/// What the library is measured against: the pool that one writes by hand in an afternoon. A queue of tasks, a mutex, a
/// condition variable, and threads that take turns.
///
/// Protection: thread-safe. Calls out: the tasks, with no lock held.
#ifndef QUEUE_POOL_HPP
#define QUEUE_POOL_HPP

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class QueuePool {
public:
    explicit QueuePool(unsigned threads)
    {
        for (unsigned i = 0; i < threads; ++i) _threads.emplace_back([this] { run(); });
    }

    ~QueuePool()
    {
        {
            const std::lock_guard lock(_mutex);
            _isStopping = true;
        }
        _changed.notify_all();
        for (std::thread &thread : _threads) thread.join();
    }

    QueuePool(const QueuePool &) = delete;
    QueuePool &operator=(const QueuePool &) = delete;

    /// Any thread runs this task once.
    void submit(std::function<void()> task)
    {
        {
            const std::lock_guard lock(_mutex);
            _tasks.push_back(std::move(task));
        }
        _changed.notify_one();
    }

    /// Every thread comes to rest once: what a reconfiguration needs.
    /// Blocks: until they have.
    void pauseAll()
    {
        std::unique_lock lock(_mutex);
        _resting = 0;
        ++_pause;
        _changed.notify_all();
        _rested.wait(lock, [this] { return _resting == _threads.size(); });
    }

private:
    void run()
    {
        unsigned seenPause = 0;
        std::unique_lock lock(_mutex);
        while (true) {
            _changed.wait(lock, [&] { return _isStopping || _pause != seenPause || !_tasks.empty(); });
            if (_isStopping) return;
            if (_pause != seenPause) {
                seenPause = _pause;
                if (++_resting == _threads.size()) _rested.notify_one();
                continue;
            }
            const std::function<void()> task = std::move(_tasks.front());
            _tasks.pop_front();
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex _mutex;  // protects everything below but the threads
    std::condition_variable _changed;
    std::condition_variable _rested;
    std::deque<std::function<void()>> _tasks;
    unsigned _pause = 0;
    std::size_t _resting = 0;
    bool _isStopping = false;
    std::vector<std::thread> _threads;
};

#endif
