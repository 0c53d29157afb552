/// @file
/// The threads of the default factory and signals: an application's signal never reaches them, because they block it
/// from before they exist; what tells of a fault, or of consumed time, does.

// Replaces: pthread_create
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iterator>

#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"

namespace {

constexpr int leftAlone[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF};

bool isLeftAlone(int signal)
{
    return std::ranges::find(leftAlone, signal) != std::end(leftAlone);
}

/// The signals that a thread blocks.
class Mask {
public:
    Mask() { sigemptyset(&_set); }
    static Mask ofCaller()
    {
        Mask mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask._set);
        return mask;
    }

    bool has(int signal) const { return sigismember(&_set, signal) == 1; }
    void add(int signal) { sigaddset(&_set, signal); }
    void install() const { EXPECT_EQ(pthread_sigmask(SIG_SETMASK, &_set, nullptr), 0); }

    bool operator==(const Mask &other) const
    {
        for (int signal = 1; signal <= SIGRTMAX; ++signal)
            if (has(signal) != other.has(signal)) return false;
        return true;
    }

private:
    sigset_t _set;
};

/// Whether nobody but the program's own threads can receive a signal of the application with this mask.
void expectKeepsOut(const Mask &mask)
{
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        const bool isTheSystems = signal == SIGKILL || signal == SIGSTOP || (signal > SIGSYS && signal < SIGRTMIN);
        if (isTheSystems) continue;
        EXPECT_EQ(mask.has(signal), !isLeftAlone(signal)) << signal;
    }
}

class ThreadFactorySignals : public testing::Test {
protected:
    ThreadFactorySignals() : before(Mask::ofCaller()) {}
    ~ThreadFactorySignals() override { before.install(); }

    void *create()
    {
        const auto body = [](void *maskOut) -> void * {
            *static_cast<Mask *>(maskOut) = Mask::ofCaller();
            return nullptr;
        };
        return factory.create_thread(factory.factory_data, "worker", nullptr, body, &seen);
    }
    void run()
    {
        void *const thread = create();
        ASSERT_NE(thread, nullptr);
        factory.delete_thread(factory.factory_data, thread);
    }

    LogCapture log;
    Doubles doubles;
    const DDS_ThreadFactory factory =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    const Mask before;
    Mask seen;
};

TEST_F(ThreadFactorySignals, a_thread_blocks_all_but_faults_and_profiling_from_before_it_exists)
{
    Mask atCreation;
    doubles.on("pthread_create").before([&] { atCreation = Mask::ofCaller(); });
    run();
    expectKeepsOut(atCreation);
    expectKeepsOut(seen);
}

TEST_F(ThreadFactorySignals, the_creator_s_mask_is_as_it_was_whether_or_not_there_is_a_thread)
{
    Mask own;
    own.add(SIGUSR2);
    own.install();
    run();
    EXPECT_EQ(Mask::ofCaller(), own);
    doubles.on("pthread_create").failFrom(1);
    EXPECT_EQ(create(), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "thread");
    EXPECT_EQ(Mask::ofCaller(), own);
}

TEST_F(ThreadFactorySignals, what_the_creator_itself_blocks_its_thread_blocks_too)
{
    Mask own;
    own.add(SIGPROF);
    own.install();
    run();
    EXPECT_TRUE(seen.has(SIGPROF));
    EXPECT_TRUE(seen.has(SIGUSR1));
}

/// The process is sent a signal that the application blocks, after its threads were made.
void receiveBlockedSignal()
{
    const DDS_ThreadFactory factory =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    const auto body = [](void *isOver) -> void * {
        static_cast<std::atomic<bool> *>(isOver)->wait(false);
        return nullptr;
    };
    std::atomic<bool> isOver{false};
    void *const thread = factory.create_thread(factory.factory_data, "worker", nullptr, body, &isOver);
    Mask own;
    own.add(SIGTERM);
    own.install();
    kill(getpid(), SIGTERM);
    sigset_t pending;
    sigpending(&pending);
    isOver = true;
    isOver.notify_all();
    factory.delete_thread(factory.factory_data, thread);
    std::_Exit(sigismember(&pending, SIGTERM) == 1 ? 0 : 1);
}

TEST(ThreadFactorySignalsDeathTest, a_signal_that_the_application_blocks_stays_pending)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(receiveBlockedSignal(), testing::ExitedWithCode(0), "");
}

}  // namespace
