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
#include <system_error>

#include "Console.hpp"
#include "Events.hpp"
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

/// How a run goes.
enum class Course { on, interrupted, failed };

constexpr const char *verdict = "nothing lost, nothing twice at once, nothing hung";

class Subscriber {
public:
    explicit Subscriber(const Options &options) : _options(options) {}

    bool prepare();
    bool reconfigureWhileDataFlows();
    bool settle();
    int report(bool isComplete);

private:
    using Verb = DDS_ReturnCode_t (*)(DDS_AsyncWaitSet *, DDS_AsyncWaitSetCompletionToken *);
    using ConditionVerb = DDS_ReturnCode_t (*)(DDS_AsyncWaitSet *, DDS_Condition *, DDS_AsyncWaitSetCompletionToken *);

    bool startPool();
    bool attachLateTopic();
    bool suspendFor(milliseconds time);
    bool detachLateTopic();
    bool stopFor(milliseconds time);

    bool request(const std::string &name, Verb verb);
    bool request(const std::string &name, ConditionVerb verb, std::size_t topic);
    bool request(const std::string &name, const Requests::Submit &submit);
    void beginPause(std::size_t firstTopic = 0);
    void endPause(std::size_t firstTopic = 0);
    /// Show progress until this part of the run, in per cent, is over.
    /// Returns: false when the run is over early.
    bool proceed(unsigned percent);
    /// Returns: false when the run is over early.
    bool pause(milliseconds time);
    void noticeEvents(milliseconds time);
    void fail(const std::string &cause);
    void showProgress(const std::string &event);
    bool isSettled() const;
    std::uint64_t received() const;
    std::uint64_t handled() const;
    double elapsed_s() const { return static_cast<double>(now_ns() - _begin_ns) / 1e9; }

    const Options &_options;
    Events _events;  // before there are threads
    Watchdog _watchdog{std::chrono::seconds(60)};
    ThreadTable _threads;
    Readers _readers;
    std::unique_ptr<DDS_AsyncWaitSet, DeleteWaitSet> _waitSet;  // goes before the conditions
    std::unique_ptr<Requests> _requests;
    PublisherProcess _publisher;
    Receiver _receiver{_readers};  // its thread ends before the publisher and the readers go
    Course _course = Course::on;
    bool _isLateTopicAttached = false;
    PublisherReport _report{};  // known when the publisher has ended
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
        sayFailed("the wait set could not be made");
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

/// The run is over; what was to come is left out.
void Subscriber::fail(const std::string &cause)
{
    sayFailed(cause);
    _course = Course::failed;
}

/// Wait for what happens outside, this long or less.
void Subscriber::noticeEvents(milliseconds time)
{
    switch (_events.wait(_publisher.output(), time)) {
        case Event::none:
            break;
        case Event::interrupt:
            _course = Course::interrupted;
            _receiver.wantEnd();
            showProgress("interrupted");
            break;
        case Event::outputEnd:
            fail("standard output: nobody reads it any more");
            break;
        case Event::publisherEnd:
            if (!_publisher.finish(_report)) _course = Course::failed;
            break;
    }
}

bool Subscriber::pause(milliseconds time)
{
    const std::int64_t end_ns = now_ns() + time / std::chrono::nanoseconds(1);
    for (std::int64_t left_ns = 1; _course == Course::on && left_ns > 0; left_ns = end_ns - now_ns())
        noticeEvents(std::chrono::ceil<milliseconds>(std::chrono::nanoseconds(left_ns)));
    return _course == Course::on;
}

/// Returns: whether it was carried out; otherwise the run has failed.
bool Subscriber::request(const std::string &name, const Requests::Submit &submit)
{
    if (_course == Course::failed) return false;
    _watchdog.enter(name);
    const DDS_ReturnCode_t retCode = _requests->run(name, submit);
    if (retCode == DDS_RETCODE_OK)
        showProgress(name);
    else
        fail("the request '" + name + "' failed with return code " + std::to_string(retCode));
    return _course != Course::failed;
}

bool Subscriber::request(const std::string &name, Verb verb)
{
    return request(name, [&](DDS_AsyncWaitSetCompletionToken *token) { return verb(_waitSet.get(), token); });
}

bool Subscriber::request(const std::string &name, ConditionVerb verb, std::size_t topic)
{
    return request(name + " " + topics[topic].name, [&](DDS_AsyncWaitSetCompletionToken *token) {
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

bool Subscriber::isSettled() const
{
    return std::ranges::all_of(_readers, [](const auto &reader) { return reader->isSettled(); });
}

void Subscriber::showProgress(const std::string &event)
{
    // What has been handled is read first, so that it is not more than what has been received.
    const std::uint64_t handledNow = handled();
    std::printf("%6.1f s  received %7" PRIu64 "  handled %7" PRIu64 "%s%s\n", elapsed_s(), received(), handledNow,
                event.empty() ? "" : "  ", event.c_str());
    if (!flushOutput()) _course = Course::failed;
}

bool Subscriber::proceed(unsigned percent)
{
    constexpr std::int64_t second_ns = 1'000'000'000;
    const std::int64_t end_ns = _begin_ns + _options.seconds * second_ns / 100 * percent;
    while (_course == Course::on && now_ns() < end_ns) {
        _watchdog.enter("data flows");
        if (!pause(milliseconds(std::clamp<std::int64_t>((end_ns - now_ns()) / 1'000'000, 1, 100)))) break;
        if (now_ns() < _nextProgress_ns) continue;
        _nextProgress_ns = now_ns() + second_ns;
        showProgress("");
    }
    return _course == Course::on;
}

bool Subscriber::startPool()
{
    if (!request("start", DDS_AsyncWaitSet_start_with_completion_token)) return false;
    endPause();
    return true;
}

bool Subscriber::attachLateTopic()
{
    beginPause(lateTopic);
    _receiver.wantLateTopic(true);
    if (!request("attach", DDS_AsyncWaitSet_attach_condition_with_completion_token, lateTopic)) return false;
    _isLateTopicAttached = true;
    endPause(lateTopic);
    return true;
}

/// The pool is resumed also when the run is interrupted meanwhile: what has piled up is to be handled.
bool Subscriber::suspendFor(milliseconds time)
{
    beginPause();
    if (!request("suspend", DDS_AsyncWaitSet_suspend_with_completion_token)) return false;
    const bool goesOn = pause(time);
    if (!request("resume", DDS_AsyncWaitSet_resume_with_completion_token)) return false;
    endPause();
    return goesOn;
}

bool Subscriber::detachLateTopic()
{
    beginPause(lateTopic);  // for good
    if (!request("detach", DDS_AsyncWaitSet_detach_condition_with_completion_token, lateTopic)) return false;
    _isLateTopicAttached = false;
    _receiver.wantLateTopic(false);
    return true;
}

/// The pool is started again also when the run is interrupted meanwhile.
bool Subscriber::stopFor(milliseconds time)
{
    beginPause();
    if (!request("stop", DDS_AsyncWaitSet_stop_with_completion_token)) return false;
    const bool goesOn = pause(time);
    if (!request("start again", DDS_AsyncWaitSet_start_with_completion_token)) return false;
    endPause();
    return goesOn;
}

/// Returns: false when the run is over early. The pool is started then, and not suspended, unless the run has failed.
bool Subscriber::reconfigureWhileDataFlows()
{
    // Long enough that data piles up, short enough for the queues.
    const milliseconds rest(std::min(_options.seconds * 50, 500U));
    return startPool() && proceed(15) && attachLateTopic() && proceed(30) && suspendFor(rest) && proceed(55) &&
           detachLateTopic() && proceed(70) && stopFor(rest) && proceed(100);
}

/// Wait until everything that was sent has been handled.
/// Returns: false when the run has failed.
bool Subscriber::settle()
{
    _watchdog.enter("the publisher ends");
    while (_course != Course::failed && _publisher.isRunning()) noticeEvents(milliseconds(100));
    if (_course == Course::failed) return false;
    _watchdog.enter("the receiver ends");
    _receiver.stop();
    // What arrived while nobody served the late topic is nobody's but ours: dispatch it here.
    if (!_isLateTopicAttached && DDS_Condition_dispatch(_readers[lateTopic]->condition()) != DDS_RETCODE_OK)
        fail("dispatching the condition of a detached topic");
    _watchdog.enter("everything received is handled");
    // Ended by the watchdog if it never comes.
    while (_course != Course::failed && !isSettled()) noticeEvents(milliseconds(5));
    return _course != Course::failed;
}

/// Stop the pool, delete the wait set, print the tables and the verdict.
/// Returns: the exit code of the process.
int Subscriber::report(bool isComplete)
{
    CpuTimes cpuTimes(_waitSet.get());
    if (!request("stop at the end", DDS_AsyncWaitSet_stop_with_completion_token)) return 1;
    _watchdog.enter("report");
    std::vector<TopicCounts> counts;
    for (const auto &reader : _readers) counts.push_back(reader->counts());
    bool isWell = reportTopics(counts, _report, _pauses, isComplete);
    reportThreads(_threads);
    reportRequests(*_requests);
    isWell = cpuTimes.report(_options.threads) && isWell;
    _watchdog.enter("delete");
    if (DDS_AsyncWaitSet_delete(_waitSet.release()) != DDS_RETCODE_OK) {
        sayFailed("deleting the wait set");
        isWell = false;
    }
    if (!isWell)
        std::printf("\nFAILED: see the messages above\n");
    else if (_course == Course::interrupted)
        std::printf("\nINTERRUPTED; so far %s\n", verdict);
    else
        std::printf("\nOK: %s\n", verdict);
    if (!flushOutput() || !isWell) return 1;
    return _course == Course::interrupted ? 128 + SIGINT : 0;
}

}  // namespace

int runSubscriber(const Options &options)
{
    pthread_setname_np(pthread_self(), "main");
    signal(SIGPIPE, SIG_IGN);  // who is gone is noticed otherwise
    try {
        Subscriber subscriber(options);
        if (!subscriber.prepare()) return 1;
        const bool isComplete = subscriber.reconfigureWhileDataFlows();
        return subscriber.settle() ? subscriber.report(isComplete) : 1;
    } catch (const std::system_error &error) {
        sayFailed(std::string("a thread could not be had: ") + error.what());
        return 1;
    }
}

}  // namespace demo
