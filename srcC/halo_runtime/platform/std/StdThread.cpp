/// @file
/// Threads of the operating system.
///
/// Protection: the mutex of this file guards the list of records and, in each record, what the thread publishes: its
/// identity and its end.
/// Calls out: the bodies of the threads, without the mutex.
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <new>

#include "../Boundary.pkg.hpp"
#include "StdThreadLocals.hpp"

namespace platform {

struct Thread {
    enum class State : std::uint8_t { starting, running, ended };

    ThreadBody body;  // these three: const after creation
    void *argument;
    char name[16];

    Thread *next;  // from here on: guarded by the mutex
    State state;
    bool isNameRefused;
    pthread_t thread;
    std::uint64_t id;
    std::int64_t finalCpuTime_ns;
};

}  // namespace platform

namespace {

using platform::refusedCpus;
using platform::refusedName;
using platform::refusedPriority;
using platform::refusedStackSize;
using platform::Thread;
using platform::threadLocals;
using platform::ThreadSettings;

pthread_mutex_t recordsMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t isPublished = PTHREAD_COND_INITIALIZER;
constinit Thread *records = nullptr;

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

std::int64_t toNanoseconds(const timespec &time)
{
    return static_cast<std::int64_t>(time.tv_sec) * nanosecondsPerSecond + time.tv_nsec;
}

/// What the calling thread has consumed.
std::int64_t ownCpuTime_ns()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return toNanoseconds(time);
}

void *runThread(void *argument)
{
    auto *self = static_cast<Thread *>(argument);
    threadLocals.record = self;
    platform::installExitHandler();
    const bool isNameRefused = self->name[0] != '\0' && pthread_setname_np(pthread_self(), self->name) != 0;

    pthread_mutex_lock(&recordsMutex);
    self->thread = pthread_self();
    self->id = ZYLPlatform_currentThreadId();
    self->isNameRefused = isNameRefused;
    self->state = Thread::State::running;
    pthread_cond_broadcast(&isPublished);
    pthread_mutex_unlock(&recordsMutex);
    return platform::callOut("body", "thread", self, [&] { return self->body(self->argument); });
}

/// Keeps the application's signals from the calling thread for a scope, and for good from a thread that is created in
/// it: a thread inherits what its creator blocks. What tells of a fault of the thread itself, or of the time that it
/// consumes, is left as it is.
class SignalsKeptOut {
public:
    SignalsKeptOut()
    {
        sigset_t keptOut;
        sigfillset(&keptOut);
        for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF})
            sigdelset(&keptOut, signal);
        pthread_sigmask(SIG_BLOCK, &keptOut, &_before);
    }
    ~SignalsKeptOut() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }
    SignalsKeptOut(const SignalsKeptOut &) = delete;
    SignalsKeptOut &operator=(const SignalsKeptOut &) = delete;

private:
    sigset_t _before;
};

/// One attribute object with the wanted settings. What sets one returns an error number, 0 for none.
class Attributes {
public:
    Attributes() { pthread_attr_init(&_attributes); }
    ~Attributes() { pthread_attr_destroy(&_attributes); }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;

    const pthread_attr_t *get() const { return &_attributes; }

    int setStackSize(std::size_t size)
    {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        // No object is larger. The system would call it a shortage.
        if (size > std::size_t{PTRDIFF_MAX} - page) return EINVAL;
        return pthread_attr_setstacksize(&_attributes, (size + page - 1) / page * page);
    }

    /// Zero belongs to the policy that shares the time; other priorities to the one that runs the highest.
    int setPriority(int priority)
    {
        sched_param parameter{};
        parameter.sched_priority = priority;
        int error = pthread_attr_setschedpolicy(&_attributes, priority == 0 ? SCHED_OTHER : SCHED_FIFO);
        if (error == 0) error = pthread_attr_setschedparam(&_attributes, &parameter);
        return error != 0 ? error : pthread_attr_setinheritsched(&_attributes, PTHREAD_EXPLICIT_SCHED);
    }

    int setCpus(const std::int32_t *cpus, std::size_t count)
    {
        cpu_set_t set;
        CPU_ZERO(&set);
        for (std::size_t index = 0; index < count; ++index) {
            if (cpus[index] < 0 || cpus[index] >= CPU_SETSIZE) return EINVAL;
            CPU_SET(static_cast<std::size_t>(cpus[index]), &set);
        }
        return pthread_attr_setaffinity_np(&_attributes, sizeof(set), &set);
    }

private:
    pthread_attr_t _attributes{};
};

/// The attributes that the settings ask for.
unsigned askedFor(const ThreadSettings &settings)
{
    unsigned asked = 0;
    if (settings.stackSize != 0) asked |= refusedStackSize;
    if (settings.hasPriority) asked |= refusedPriority;
    if (settings.cpus != nullptr && settings.cpuCount != 0) asked |= refusedCpus;
    return asked;
}

/// Start the thread with those of the settings. Returns: an error number, 0 for none.
int start(Thread *record, const ThreadSettings &settings, unsigned asked)
{
    Attributes attributes;
    int error = 0;
    if ((asked & refusedStackSize) != 0) error = attributes.setStackSize(settings.stackSize);
    if (error == 0 && (asked & refusedPriority) != 0) error = attributes.setPriority(settings.priority);
    if (error == 0 && (asked & refusedCpus) != 0) error = attributes.setCpus(settings.cpus, settings.cpuCount);
    if (error != 0) return error;
    const SignalsKeptOut signalsKeptOut;
    pthread_t thread{};
    return pthread_create(&thread, attributes.get(), runThread, record);
}

/// Whether the system dislikes a setting. All other errors are shortages, which no setting is to blame for.
bool isRefusal(int error)
{
    return error == EINVAL || error == EPERM;
}

/// The system does not say which setting it dislikes: leave out as few as possible.
/// Returns: false when not even a thread without settings is accepted, or threads are short.
bool startWithout(Thread *record, const ThreadSettings &settings, unsigned &refusedOut)
{
    constexpr unsigned attempts[] = {0,
                                     refusedPriority,
                                     refusedCpus,
                                     refusedStackSize,
                                     refusedPriority | refusedCpus,
                                     refusedPriority | refusedStackSize,
                                     refusedCpus | refusedStackSize,
                                     refusedPriority | refusedCpus | refusedStackSize};
    const unsigned asked = askedFor(settings);
    for (const unsigned left : attempts) {
        if ((left & ~asked) != 0) continue;
        const int error = start(record, settings, asked & ~left);
        refusedOut = left;
        if (error == 0) return true;
        if (!isRefusal(error)) return false;
    }
    return false;
}

/// Unlink the record. Requires: the mutex.
void forget(const Thread *record)
{
    Thread **link = &records;
    while (*link != nullptr && *link != record) link = &(*link)->next;
    if (*link != nullptr) *link = record->next;
}

}  // namespace

namespace platform {

void noteEnd()
{
    Thread *self = threadLocals.record;
    if (self == nullptr) return;
    const std::int64_t cpuTime_ns = ownCpuTime_ns();
    pthread_mutex_lock(&recordsMutex);
    self->finalCpuTime_ns = cpuTime_ns;
    self->state = Thread::State::ended;
    pthread_mutex_unlock(&recordsMutex);
}

}  // namespace platform

Thread *ZYLPlatform_createThread(const ThreadSettings &settings, platform::ThreadBody body, void *argument,
                                 unsigned *refusedOut)
{
    unsigned refused = 0;
    auto *record = new (std::nothrow) Thread{};
    if (record == nullptr) return nullptr;
    record->body = body;
    record->argument = argument;
    if (settings.name != nullptr) std::snprintf(record->name, sizeof(record->name), "%s", settings.name);

    pthread_mutex_lock(&recordsMutex);
    record->next = records;
    records = record;
    pthread_mutex_unlock(&recordsMutex);

    const bool isStarted = startWithout(record, settings, refused);

    pthread_mutex_lock(&recordsMutex);
    if (isStarted) {
        while (record->state == Thread::State::starting) pthread_cond_wait(&isPublished, &recordsMutex);
        if (record->isNameRefused) refused |= refusedName;
    } else {
        forget(record);
    }
    pthread_mutex_unlock(&recordsMutex);
    if (!isStarted) {
        delete record;
        return nullptr;
    }
    if (refusedOut != nullptr) *refusedOut = refused;
    return record;
}

void ZYLPlatform_joinThread(Thread *thread)
{
    pthread_join(thread->thread, nullptr);
    pthread_mutex_lock(&recordsMutex);
    forget(thread);
    pthread_mutex_unlock(&recordsMutex);
    delete thread;
}

// A running thread cannot end before it has the mutex, so its clock is there while the mutex is held.
bool ZYLPlatform_threadCpuTime(const void *thread, std::uint64_t *idOut, std::int64_t *cpuTimeOut_ns)
{
    pthread_mutex_lock(&recordsMutex);
    const Thread *record = records;
    while (record != nullptr && record != thread) record = record->next;
    bool isKnown = record != nullptr && record->state != Thread::State::starting;
    if (isKnown && record->state == Thread::State::running) {
        clockid_t clock{};
        timespec time{};
        isKnown = pthread_getcpuclockid(record->thread, &clock) == 0 && clock_gettime(clock, &time) == 0;
        if (isKnown) *cpuTimeOut_ns = toNanoseconds(time);
    } else if (isKnown) {
        *cpuTimeOut_ns = record->finalCpuTime_ns;
    }
    if (isKnown) *idOut = record->id;
    pthread_mutex_unlock(&recordsMutex);
    return isKnown;
}

std::uint64_t ZYLPlatform_currentThreadId()
{
    if (threadLocals.id == 0) threadLocals.id = static_cast<std::uint64_t>(gettid());
    return threadLocals.id;
}
