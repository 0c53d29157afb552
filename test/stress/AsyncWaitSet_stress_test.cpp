/// @file
/// Everything at once, on real threads: several wait sets of one to four threads, nested by level, under producers and
/// under application threads that attach, detach, suspend, resume, stop and start with every kind of token, while
/// handlers unlock early and use their own and other wait sets.
///
/// What must hold whatever happens: a handler never runs twice at once (unless it unlocks), no trigger is lost, every
/// call returns one of its documented codes, nobody breaks a precondition, nothing leaks, and it ends.
///
/// The seed is printed and taken from ASYNCWAITSET_SEED when that is set; it decides what every thread does, though not
/// when.
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

using Random = std::mt19937;

int pick(Random &random, int count)
{
    return static_cast<int>(random() % static_cast<unsigned>(count));
}

unsigned chooseSeed()
{
    const char *const given = std::getenv("ASYNCWAITSET_SEED");
    const unsigned seed =
        given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
    std::printf("seed %u\n", seed);
    return seed;
}

bool isOneOf(DDS_ReturnCode_t code, std::initializer_list<DDS_ReturnCode_t> codes)
{
    for (const DDS_ReturnCode_t allowed : codes)
        if (code == allowed) return true;
    return false;
}
#define EXPECT_CODE(call_, ...) EXPECT_TRUE(isOneOf(call_, {__VA_ARGS__}))

/// Data behind a condition: a producer counts up, publishes and triggers; the handler takes what there is.
class Source {
public:
    explicit Source(bool unlocks) : _unlocks(unlocks), _guard([this](HandledGuard &) { handle(); }) {}

    void produce()
    {
        {
            const std::lock_guard lock(_mutex);
            _produced += 1;
        }
        _guard.trigger();
    }

    /// Wait until everything produced so far has been handled. Returns: false when only a hang can be the reason.
    bool awaitHandled()
    {
        std::unique_lock lock(_mutex);
        const long goal = _produced;
        return _changed.wait_for(lock, std::chrono::minutes(2), [&] { return _handled >= goal; });
    }

    DDS_Condition *condition() const { return _guard.condition(); }
    long handledCount()
    {
        const std::lock_guard lock(_mutex);
        return _handled;
    }
    /// Most handlers that ran at once.
    int mostInside() const { return _guard.mostInside; }
    bool unlocks() const { return _unlocks; }

    DDS_AsyncWaitSet *home = nullptr;    ///< The only wait set that it is ever attached to.
    std::function<void()> duringHandle;  ///< Const while attached.

private:
    void handle()
    {
        if (_unlocks) {
            EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(home, condition()), DDS_RETCODE_OK);
        }
        long taken = 0;
        {
            const std::lock_guard lock(_mutex);
            taken = _produced;
        }
        if (duringHandle) duringHandle();
        const std::lock_guard lock(_mutex);
        _handled = std::max(_handled, taken);
        _changed.notify_all();
    }

    const bool _unlocks;
    std::mutex _mutex;
    std::condition_variable _changed;
    long _produced = 0;
    long _handled = 0;
    HandledGuard _guard;
};

/// A wait set and the sources at home there.
struct Node {
    DDS_AsyncWaitSet *aws = nullptr;
    std::vector<std::unique_ptr<Source>> sources;
};

Node makeNode(Random &random, DDS_Long level, const DDS_AsyncWaitSetListener *listener)
{
    DDS_AsyncWaitSetProperty_t property = propertyOf(static_cast<DDS_UnsignedLong>(1 + pick(random, 4)), level);
    if (pick(random, 2) == 0) property.waitset_property = {1 + pick(random, 3), {0, 1000000}};
    if (pick(random, 2) == 0) property.wait_timeout = {0, 1000000};
    Node node;
    node.aws = DDS_AsyncWaitSet_new_with_listener(&property, listener);
    for (int i = 0; i < 4; ++i) {
        node.sources.push_back(std::make_unique<Source>(i == 3));
        node.sources.back()->home = node.aws;
    }
    return node;
}

/// Bring every node to rest, run it with everything attached, see that nothing was lost, and take it down.
void finish(std::vector<Node> &nodes)
{
    // From the lowest on: a handler of a lower one may still be using a higher one.
    for (const Node &node : nodes) EXPECT_EQ(DDS_AsyncWaitSet_stop(node.aws), DDS_RETCODE_OK);
    for (const Node &node : nodes) {
        EXPECT_EQ(DDS_AsyncWaitSet_start(node.aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_resume_with_completion_token(node.aws, implicitToken()), DDS_RETCODE_OK);
        for (const auto &source : node.sources)
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(node.aws, source->condition()), DDS_RETCODE_OK);
    }
    for (const Node &node : nodes) {
        for (const auto &source : node.sources) EXPECT_TRUE(source->awaitHandled());
        EXPECT_EQ(DDS_AsyncWaitSet_delete(node.aws), DDS_RETCODE_OK);
        for (const auto &source : node.sources) {
            if (!source->unlocks()) {
                EXPECT_LE(source->mostInside(), 1);
            }
        }
    }
}

/// An application thread with a token of its own for every node.
class Operator {
public:
    Operator(std::vector<Node> &nodes, unsigned seed) : _nodes(nodes), _random(seed)
    {
        for (const Node &node : nodes) _tokens.push_back({DDS_AsyncWaitSet_create_completion_token(node.aws), false});
    }
    ~Operator()
    {
        for (std::size_t i = 0; i < _nodes.size(); ++i) {
            settle(_tokens[i]);
            EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(_nodes[i].aws, _tokens[i].token), DDS_RETCODE_OK);
        }
    }
    Operator(const Operator &) = delete;
    Operator &operator=(const Operator &) = delete;

    void run(int count)
    {
        for (int i = 0; i < count; ++i) act();
    }

private:
    struct OwnToken {
        DDS_AsyncWaitSetCompletionToken *token;
        bool isPending;
    };

    /// Learn the outcome of what was left pending.
    static void settle(OwnToken &own)
    {
        if (own.isPending) {
            EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(own.token, &DDS_DURATION_INFINITE), DDS_RETCODE_OK);
        }
        own.isPending = false;
    }

    void act()
    {
        const auto index = static_cast<std::size_t>(pick(_random, static_cast<int>(_nodes.size())));
        OwnToken &own = _tokens[index];
        const int how = pick(_random, 4);  // ignore, wait implicitly, wait oneself, wait later
        if (how >= 2) settle(own);
        DDS_AsyncWaitSetCompletionToken *const tokens[] = {ignoreToken(), implicitToken(), own.token, own.token};
        const DDS_ReturnCode_t code = call(_nodes[index], tokens[how]);
        if (how < 2 || code != DDS_RETCODE_OK || !_usesToken) return;
        own.isPending = true;
        if (how == 2) settle(own);
    }

    DDS_ReturnCode_t call(Node &node, DDS_AsyncWaitSetCompletionToken *token)
    {
        Source &source = *node.sources[static_cast<std::size_t>(pick(_random, 4))];
        _usesToken = true;
        DDS_ReturnCode_t code = DDS_RETCODE_ERROR;
        switch (pick(_random, 12)) {
            case 0:
            case 1:
                code = DDS_AsyncWaitSet_detach_condition_with_completion_token(node.aws, source.condition(), token);
                break;
            case 2:
                code = DDS_AsyncWaitSet_suspend_with_completion_token(node.aws, token);
                break;
            case 3:
            case 4:
                code = DDS_AsyncWaitSet_resume_with_completion_token(node.aws, token);
                break;
            case 5:
                return stop(node, token);
            case 6:
            case 7:
                return start(node, token);
            default:
                code = DDS_AsyncWaitSet_attach_condition_with_completion_token(node.aws, source.condition(), token);
        }
        EXPECT_CODE(code, DDS_RETCODE_OK, DDS_RETCODE_PRECONDITION_NOT_MET);
        return code;
    }

    static DDS_ReturnCode_t stop(const Node &node, DDS_AsyncWaitSetCompletionToken *token)
    {
        const DDS_ReturnCode_t code = DDS_AsyncWaitSet_stop_with_completion_token(node.aws, token);
        if (token == ignoreToken())
            EXPECT_EQ(code, DDS_RETCODE_BAD_PARAMETER);
        else
            EXPECT_CODE(code, DDS_RETCODE_OK, DDS_RETCODE_PRECONDITION_NOT_MET);
        return code;
    }

    /// A start always succeeds here; it has used its token only if it was not a no-op.
    DDS_ReturnCode_t start(const Node &node, DDS_AsyncWaitSetCompletionToken *token)
    {
        const bool isOwn = token != ignoreToken() && token != implicitToken();
        const unsigned before = isOwn ? token->_submissionCount : 0;
        const DDS_ReturnCode_t code = DDS_AsyncWaitSet_start_with_completion_token(node.aws, token);
        EXPECT_EQ(code, DDS_RETCODE_OK);
        _usesToken = isOwn && token->_submissionCount != before;
        return code;
    }

    std::vector<Node> &_nodes;
    std::vector<OwnToken> _tokens;
    Random _random;
    bool _usesToken = true;
};

/// What a handler of the node at `index` does now and then: use wait sets, waiting only for higher ones.
void useWaitSets(const std::vector<Node> &nodes, std::size_t index, Random &random)
{
    if (pick(random, 8) != 0) return;
    const auto other = static_cast<std::size_t>(pick(random, static_cast<int>(nodes.size())));
    DDS_AsyncWaitSet *const aws = nodes[other].aws;
    DDS_Condition *const condition = nodes[other].sources[static_cast<std::size_t>(pick(random, 4))]->condition();
    if (other < index) {
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition), DDS_RETCODE_PRECONDITION_NOT_MET);
    } else if (other == index) {
        EXPECT_CODE(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, condition, ignoreToken()),
                    DDS_RETCODE_OK, DDS_RETCODE_PRECONDITION_NOT_MET);
    } else if (pick(random, 4) == 0) {
        EXPECT_CODE(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK, DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    } else {
        EXPECT_CODE(DDS_AsyncWaitSet_detach_condition(aws, condition), DDS_RETCODE_OK,
                    DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_CODE(DDS_AsyncWaitSet_attach_condition(aws, condition), DDS_RETCODE_OK,
                    DDS_RETCODE_PRECONDITION_NOT_MET);
    }
}

class Stress : public testing::Test {
protected:
    void SetUp() override
    {
        blockCount = ZYLOsapiHeap_getBlockCount();
        log = std::make_unique<LogCapture>(ZYL_LOG_LEVEL_PRECONDITION);  // refusals are no news here
        seed = chooseSeed();
    }
    void TearDown() override
    {
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount);
        EXPECT_NO_LOG(*log);
        if (HasFailure()) std::printf("this was ASYNCWAITSET_SEED=%u\n", seed);
    }

    std::size_t blockCount = 0;
    std::unique_ptr<LogCapture> log;
    unsigned seed = 0;
};

TEST_F(Stress, nothing_is_lost_doubled_or_stuck_while_everything_happens_at_once)
{
    constexpr int operatorCount = 3;
    constexpr int producerCount = 3;
    constexpr int actionCount = 6000;
    Random random(seed);
    struct {
        std::atomic<int> spawned{0};
        std::atomic<int> deleted{0};
    } counts;
    using Counts = decltype(counts);
    DDS_AsyncWaitSetListener listener = {};
    listener.listener_data = &counts;
    listener.on_thread_spawned = [](void *data, DDS_UnsignedLongLong) { ++static_cast<Counts *>(data)->spawned; };
    listener.on_thread_deleted = [](void *data, DDS_UnsignedLongLong) { ++static_cast<Counts *>(data)->deleted; };

    std::vector<Node> nodes;
    for (DDS_Long level = 1; level <= 4; ++level) nodes.push_back(makeNode(random, level, &listener));
    std::atomic<bool> isOver{false};
    std::atomic<unsigned> handlerSeed{seed};
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        for (const auto &source : nodes[i].sources) {
            source->duringHandle = [&, i] {
                thread_local Random own(handlerSeed++);
                if (!isOver) useWaitSets(nodes, i, own);
                if (pick(own, 4) == 0) std::this_thread::yield();
            };
        }
    }

    std::vector<std::thread> producers;
    for (int i = 0; i < producerCount; ++i) {
        producers.emplace_back([&, own = Random(random())]() mutable {
            while (!isOver) {
                const Node &node = nodes[static_cast<std::size_t>(pick(own, 4))];
                node.sources[static_cast<std::size_t>(pick(own, 4))]->produce();
                std::this_thread::yield();
            }
        });
    }
    std::vector<std::thread> operators;
    for (int i = 0; i < operatorCount; ++i) {
        operators.emplace_back(
            [&nodes, own = static_cast<unsigned>(random())] { Operator(nodes, own).run(actionCount); });
    }
    for (std::thread &thread : operators) thread.join();
    isOver = true;
    for (std::thread &thread : producers) thread.join();
    finish(nodes);
    long handledCount = 0;
    for (const Node &node : nodes)
        for (const auto &source : node.sources) handledCount += source->handledCount();
    std::printf("%d threads came and went, %ld triggers were handled\n", counts.spawned.load(), handledCount);
    EXPECT_GT(handledCount, 0);
    EXPECT_EQ(counts.spawned, counts.deleted);
}

TEST_F(Stress, a_running_pool_answers_every_trigger_while_conditions_come_and_go)
{
    constexpr int roundCount = 2000;
    Random random(seed);
    for (DDS_UnsignedLong poolSize = 1; poolSize <= 4; ++poolSize) {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
        ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        std::array<std::unique_ptr<Source>, 3> sources;
        for (auto &source : sources) {
            source = std::make_unique<Source>(&source == &sources[2]);
            source->home = aws;
            ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, source->condition()), DDS_RETCODE_OK);
        }
        std::vector<std::thread> threads;
        for (const auto &source : sources) {
            threads.emplace_back([&source] {
                for (int i = 0; i < roundCount; ++i) {
                    source->produce();
                    EXPECT_TRUE(source->awaitHandled());
                }
            });
        }
        HandledGuard guest;
        threads.emplace_back([&guest, aws, own = Random(random())]() mutable {
            for (int i = 0; i < roundCount / 5; ++i) {
                DDS_AsyncWaitSetCompletionToken *const token = pick(own, 2) == 0 ? implicitToken() : ignoreToken();
                EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guest.condition(), token), 0);
                guest.trigger();
                EXPECT_EQ(DDS_AsyncWaitSet_detach_condition_with_completion_token(aws, guest.condition(), token), 0);
            }
        });
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_EQ(sources[0]->mostInside(), 1);
        EXPECT_EQ(sources[1]->mostInside(), 1);
        EXPECT_LE(guest.mostInside, 1);
    }
}

}  // namespace
