/// @file
/// See Subscriber.hpp. The main thread drives the run; the receiver thread triggers conditions; the pool handles them.
#include "Subscriber.hpp"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>

#include "PublisherProcess.hpp"
#include "Receiver.hpp"
#include "Report.hpp"
#include "Requests.hpp"
#include "Watchdog.hpp"

namespace demo {
namespace {

using std::chrono::milliseconds;

struct DeleteWaitSet {
    void operator()(DDS_AsyncWaitSet *waitSet) const { DDS_AsyncWaitSet_delete(waitSet); }
};

class Subscriber {
public:
    explicit Subscriber(const Options &options) : _options(options) {}

    bool prepare();
    void reconfigureWhileDataFlows();
    bool finish();

private:
    using Verb = DDS_ReturnCode_t (*)(DDS_AsyncWaitSet *, DDS_AsyncWaitSetCompletionToken *);
    using ConditionVerb = DDS_ReturnCode_t (*)(DDS_AsyncWaitSet *, DDS_Condition *, DDS_AsyncWaitSetCompletionToken *);

    void request(const std::string &name, Verb verb);
    void request(const std::string &name, ConditionVerb verb, std::size_t topic);
    void request(const std::string &name, const Requests::Submit &submit);
    void beginPause(std::size_t firstTopic = 0);
    void endPause(std::size_t firstTopic = 0);
    /// Show progress until this part of the run, in per cent, is over.
    void proceed(unsigned percent);
    void pause(milliseconds time) const;
    void showProgress(const char *event) const;
    std::uint64_t received() const;
    std::uint64_t handled() const;
    double elapsed_s() const { return static_cast<double>(now_ns() - _begin_ns) / 1e9; }

    const Options &_options;
    Watchdog _watchdog{std::chrono::seconds(60)};
    ThreadTable _threads;
    Readers _readers;
    std::unique_ptr<DDS_AsyncWaitSet, DeleteWaitSet> _waitSet;  // goes before the conditions
    std::unique_ptr<Requests> _requests;
    PublisherProcess _publisher;
    Receiver _receiver{_readers};  // its thread ends before the publisher and the readers go
    std::int64_t _begin_ns = now_ns();
    std::int64_t _nextProgress_ns = 0;
    std::vector<std::vector<Interval>> _pauses{topicCount};  // of each topic: its condition is not served
};

bool Subscriber::prepare()
{
    char prefix[] = "demo";
    DDS_AsyncWaitSetProperty_t property = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    property.thread_pool_size = _options.threads;
    property.thread_name_prefix = prefix;
    _waitSet.reset(DDS_AsyncWaitSet_new(&property));
    bool isReady = _waitSet != nullptr;
    for (std::size_t topic = 0; topic < topicCount; ++topic) {
        _readers[topic] = std::make_unique<TopicReader>(topic, _threads);
        isReady = isReady && _readers[topic]->isValid();
        if (isReady && topic != lateTopic)
            isReady = DDS_AsyncWaitSet_attach_condition(_waitSet.get(), _readers[topic]->condition()) == DDS_RETCODE_OK;
    }
    if (!isReady) {
        std::fprintf(stderr, "demo: FAILED: the wait set could not be made\n");
        return false;
    }
    _requests = std::make_unique<Requests>(_waitSet.get());
    const std::vector<Destination> destinations = _receiver.open();
    if (destinations.empty() || !_publisher.start(_options, destinations)) return false;
    beginPause();
    _receiver.start(_publisher);
    _begin_ns = now_ns();
    std::printf("%u s of sensor data, a pool of %u threads\n", _options.seconds, _options.threads);
    return true;
}

void Subscriber::request(const std::string &name, const Requests::Submit &submit)
{
    _watchdog.enter(name);
    const bool isDone = _requests->run(name, submit);
    showProgress((name + (isDone ? "" : ": FAILED")).c_str());
}

void Subscriber::request(const std::string &name, Verb verb)
{
    request(name, [&](DDS_AsyncWaitSetCompletionToken *token) { return verb(_waitSet.get(), token); });
}

void Subscriber::request(const std::string &name, ConditionVerb verb, std::size_t topic)
{
    request(name + " " + topics[topic].name, [&](DDS_AsyncWaitSetCompletionToken *token) {
        return verb(_waitSet.get(), _readers[topic]->condition(), token);
    });
}

/// The topics from this one on are not served from here on, on purpose.
void Subscriber::beginPause(std::size_t firstTopic)
{
    for (std::size_t topic = firstTopic; topic < topicCount; ++topic)
        _pauses[topic].push_back({now_ns(), std::numeric_limits<std::int64_t>::max()});
}

void Subscriber::endPause(std::size_t firstTopic)
{
    for (std::size_t topic = firstTopic; topic < topicCount; ++topic) _pauses[topic].back().end_ns = now_ns();
}

void Subscriber::pause(milliseconds time) const
{
    std::this_thread::sleep_for(time);
}

std::uint64_t Subscriber::received() const
{
    std::uint64_t sum = 0;
    for (const auto &reader : _readers) sum += reader->received();
    return sum;
}

std::uint64_t Subscriber::handled() const
{
    std::uint64_t sum = 0;
    for (const auto &reader : _readers) sum += reader->handled();
    return sum;
}

void Subscriber::showProgress(const char *event) const
{
    // What has been handled is read first, so that it is not more than what has been received.
    const std::uint64_t handledNow = handled();
    std::printf("%6.1f s  received %7" PRIu64 "  handled %7" PRIu64 "%s%s\n", elapsed_s(), received(), handledNow,
                *event == '\0' ? "" : "  ", event);
    std::fflush(stdout);
}

void Subscriber::proceed(unsigned percent)
{
    constexpr std::int64_t second_ns = 1'000'000'000;
    const std::int64_t end_ns = _begin_ns + _options.seconds * second_ns / 100 * percent;
    while (now_ns() < end_ns) {
        _watchdog.enter("data flows");
        pause(milliseconds(std::clamp<std::int64_t>((end_ns - now_ns()) / 1'000'000, 1, 100)));
        if (now_ns() - _nextProgress_ns < 0) continue;
        _nextProgress_ns = now_ns() + second_ns;
        showProgress("");
    }
}

void Subscriber::reconfigureWhileDataFlows()
{
    // Long enough that data piles up, short enough for the queues.
    const milliseconds rest(std::min(_options.seconds * 50, 500U));
    request("start", DDS_AsyncWaitSet_start_with_completion_token);
    endPause();
    proceed(15);

    beginPause(lateTopic);
    _receiver.wantLateTopic(true);
    request("attach", DDS_AsyncWaitSet_attach_condition_with_completion_token, lateTopic);
    endPause(lateTopic);
    proceed(30);

    beginPause();
    request("suspend", DDS_AsyncWaitSet_suspend_with_completion_token);
    pause(rest);
    request("resume", DDS_AsyncWaitSet_resume_with_completion_token);
    endPause();
    proceed(55);

    beginPause(lateTopic);  // for good
    request("detach", DDS_AsyncWaitSet_detach_condition_with_completion_token, lateTopic);
    _receiver.wantLateTopic(false);
    proceed(70);

    beginPause();
    request("stop", DDS_AsyncWaitSet_stop_with_completion_token);
    pause(rest);
    request("start again", DDS_AsyncWaitSet_start_with_completion_token);
    endPause();
    proceed(100);
}

bool Subscriber::finish()
{
    _watchdog.enter("the publisher ends");
    PublisherReport report{};
    bool isWell = _publisher.finish(report);
    if (!isWell) std::fprintf(stderr, "demo: FAILED: the publisher ended without a report\n");
    _watchdog.enter("the receiver ends");
    _receiver.stop();

    // What arrived after the detach is nobody's but ours: dispatch it here.
    DDS_Condition *late = _readers[lateTopic]->condition();
    isWell = DDS_Condition_dispatch(late) == DDS_RETCODE_OK && isWell;
    _watchdog.enter("everything received is handled");
    // Ended by the watchdog if it never comes.
    while (!std::ranges::all_of(_readers, [](const auto &reader) { return reader->isSettled(); }))
        pause(milliseconds(5));
    CpuTimes cpuTimes(_waitSet.get());
    request("stop at the end", DDS_AsyncWaitSet_stop_with_completion_token);
    _watchdog.enter("report");

    std::vector<TopicCounts> counts;
    for (const auto &reader : _readers) counts.push_back(reader->counts());
    isWell = reportTopics(counts, report, _pauses, true) && isWell;
    reportThreads(_threads);
    reportRequests(*_requests);
    isWell = _requests->isAllWell() && isWell;
    isWell = cpuTimes.report(_options.threads) && isWell;
    _watchdog.enter("delete");
    isWell = DDS_AsyncWaitSet_delete(_waitSet.release()) == DDS_RETCODE_OK && isWell;
    std::printf("\n%s\n",
                isWell ? "OK: nothing lost, nothing twice at once, nothing hung" : "FAILED: see the messages above");
    return isWell;
}

}  // namespace

int runSubscriber(const Options &options)
{
    pthread_setname_np(pthread_self(), "main");
    signal(SIGPIPE, SIG_IGN);  // a publisher that is gone is noticed by its missing report
    Subscriber subscriber(options);
    if (!subscriber.prepare()) return 1;
    subscriber.reconfigureWhileDataFlows();
    return subscriber.finish() ? 0 : 1;
}

}  // namespace demo
