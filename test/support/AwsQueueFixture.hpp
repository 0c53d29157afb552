/// @file
/// What the tests of the registry, of requests, tasks and tokens share: a wait set without threads that can be made to
/// look started, pool threads that the calling thread plays one inside the other, services that are watched and made to
/// fail, and a check at the end that the wait set can be deleted and no heap block is left.
// Replaces: VESKWorker_enterExclusiveArea VESKWorker_leaveExclusiveArea ZYLOsapiBarrier_wait
#ifndef AWS_QUEUE_FIXTURE_HPP
#define AWS_QUEUE_FIXTURE_HPP

#include <gmock/gmock.h>

#include <deque>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

/// A task that runs what the test wants.
class ProbeTask {
public:
    explicit ProbeTask(std::function<void(DDS_AWSTaskInfo *)> action = {}) : _action(std::move(action))
    {
        task.taskData = this;
        task.execute = execute;
    }
    DDS_Task task = {};
    int executions = 0;

private:
    static void *execute(void *data, DDS_AsyncWaitSetTaskInfo *taskInfo)
    {
        auto &self = *static_cast<ProbeTask *>(data);
        self.executions += 1;
        if (self._action) self._action(taskInfo);
        return nullptr;
    }
    std::function<void(DDS_AWSTaskInfo *)> _action;
};

/// Stands between a token and its semaphore while it lives: what the test does not define goes through.
class TokenInterceptor {
public:
    using Handler = std::function<DDS_ReturnCode_t()>;
    using WaitHandler = std::function<DDS_ReturnCode_t(const ZYLNtpTime &)>;

    explicit TokenInterceptor(DDS_AsyncWaitSetCompletionToken *token) : _token(token), _real(token->_handler)
    {
        token->_handler = {this, runReset, runNotify, runWait};
    }
    ~TokenInterceptor()
    {
        if (_token != nullptr) _token->_handler = _real;
    }
    TokenInterceptor(const TokenInterceptor &) = delete;
    TokenInterceptor &operator=(const TokenInterceptor &) = delete;
    /// The token is about to be destroyed.
    void release() { std::exchange(_token, nullptr)->_handler = _real; }

    Handler onReset;
    Handler onNotify;
    WaitHandler onWait;

private:
    static DDS_ReturnCode_t runReset(void *data, DDS_AsyncWaitSetCompletionToken *token)
    {
        const auto &self = *static_cast<TokenInterceptor *>(data);
        return self.onReset ? self.onReset() : self._real.reset(self._real.handlerData, token);
    }
    static DDS_ReturnCode_t runNotify(void *data, DDS_AsyncWaitSetCompletionToken *token)
    {
        const auto &self = *static_cast<TokenInterceptor *>(data);
        return self.onNotify ? self.onNotify() : self._real.notify(self._real.handlerData, token);
    }
    static DDS_ReturnCode_t runWait(void *data, DDS_AsyncWaitSetCompletionToken *token, const ZYLNtpTime *timeout)
    {
        const auto &self = *static_cast<TokenInterceptor *>(data);
        return self.onWait ? self.onWait(*timeout) : self._real.wait(self._real.handlerData, token, timeout);
    }
    DDS_AsyncWaitSetCompletionToken *_token;
    const DDS_AsyncWaitSetCompletionTokenHandler _real;
};

class AwsQueueTest : public testing::Test {
protected:
    AwsQueueTest() : blockCount((DDS_AsyncWaitSetGlobals_get_instance(), ZYLOsapiHeap_getBlockCount()))
    {
        const auto noteArea = [this](const char *service, const char *critical, const char *leadership) {
            doubles.on(service).as([=, this](VESKWorker *, void *, VESKExclusiveArea *area) {
                if (aws == nullptr) return "other";
                if (area == aws->_criticalSectionEA) return critical;
                return area == aws->_threadPoolSynchronizerEA ? leadership : "other";
            });
        };
        noteArea("VESKWorker_enterExclusiveArea", "enter", "lead");
        noteArea("VESKWorker_leaveExclusiveArea", "leave", "promote");
        // One thread plays all pool threads, so nobody waits.
        doubles.on("ZYLOsapiBarrier_wait").as("barrier").forGood().instead([]() -> int {
            return ZYL_OSAPI_SEMAPHORE_STATUS_OK;
        });
    }

    void TearDown() override
    {
        doubles.heal();
        heard.onEvent = {};
        aws = nullptr;
        for (const auto &[owner, token] : _tokens)
            EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(owner, token), DDS_RETCODE_OK);
        for (auto it = _waitSets.rbegin(); it != _waitSets.rend(); ++it) {
            EXPECT_EQ((*it)->_internalTaskQueue._size, 0) << "a request is still queued";
            markStarted(*it, false);
            EXPECT_EQ(DDS_AsyncWaitSet_delete(*it), DDS_RETCODE_OK);
        }
        guards.clear();
        EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blockCount) << "heap blocks are left";
    }

    /// Make the wait set under test, which is the one whose critical section is watched.
    DDS_AsyncWaitSet *create(DDS_UnsignedLong poolSize, DDS_Long level = 1)
    {
        aws = doubles.name(createOther(poolSize, level, &heard), "the wait set under test");
        for (DDS_UnsignedLong i = 0; i < poolSize; ++i)
            doubles.name(&aws->_threadPool[i], "pool thread " + std::to_string(i));
        return aws;
    }
    DDS_AsyncWaitSet *createOther(DDS_UnsignedLong poolSize, DDS_Long level, RecordingListener *listener = nullptr)
    {
        DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize, level);
        property.waitset_property.max_event_count = configured;
        DDS_AsyncWaitSetListener heardBy = {};
        if (listener != nullptr) heardBy = listener->listener();
        _waitSets.push_back(DDS_AsyncWaitSet_new_with_listener(&property, &heardBy));
        return _waitSets.back();
    }
    /// Own a wait set that was made in another way.
    void adopt(DDS_AsyncWaitSet *other) { _waitSets.push_back(other); }

    /// Let the wait set look started or stopped to submissions; no thread exists either way.
    static void markStarted(DDS_AsyncWaitSet *self, bool isStarted = true)
    {
        self->_isStarted = isStarted ? 1 : 0;
        self->_isStopInitiated = 0;
    }

    /// Conditions are called A, B, C and so on.
    HandledGuard &newGuard()
    {
        HandledGuard &guard = guards.emplace_back();
        doubles.name(guard.condition(), std::string(1, static_cast<char>('A' + guards.size() - 1)));
        return guard;
    }
    DDS_Condition *newCondition() { return newGuard().condition(); }

    /// An application's token; deleted at the end of the test.
    DDS_AsyncWaitSetCompletionToken *newToken(DDS_AsyncWaitSet *owner = nullptr)
    {
        if (owner == nullptr) owner = aws;
        _tokens.emplace_back(owner, DDS_AsyncWaitSet_create_completion_token(owner));
        return doubles.name(_tokens.back().second, "token " + std::to_string(++_tokenCount));
    }
    /// The test has deleted the token itself.
    void disown(const DDS_AsyncWaitSetCompletionToken *token)
    {
        std::erase_if(_tokens, [&](const auto &entry) { return entry.second == token; });
    }

    DDS_ReturnCode_t submit(DDS_Task_ExecuteFcn execute, DDS_AsyncWaitSetCompletionToken *token = ignoreToken(),
                            void *userData = nullptr)
    {
        DDS_Task task = {};
        task.execute = execute;
        return DDS_AsyncWaitSet_submit_task(aws, &task, userData, token);
    }
    DDS_ReturnCode_t submit(ProbeTask &probe, DDS_AsyncWaitSetCompletionToken *token = ignoreToken())
    {
        return DDS_AsyncWaitSet_submit_task(aws, &probe.task, nullptr, token);
    }
    /// The same without tokens of its own and without a wait, under the critical section.
    DDS_ReturnCode_t submitI(DDS_Task &task, DDS_AsyncWaitSetCompletionToken *token, void *userData = nullptr)
    {
        enter();
        const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submitTaskI(aws, &task, userData, token);
        leave();
        return retCode;
    }

    VESKWorker *worker() const { return DDS_AsyncWaitSetGlobals_getWorker(aws->_globals); }
    void enter() { ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0); }
    void leave() { ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0); }
    int criticalSectionDepth() const { return VESKWorker_getExclusiveAreaDepth(worker(), aws->_criticalSectionEA); }
    int leadershipDepth() const
    {
        return aws->_threadPoolSynchronizerEA == nullptr
                   ? 0
                   : VESKWorker_getExclusiveAreaDepth(worker(), aws->_threadPoolSynchronizerEA);
    }

    /// Be the pool thread of that index, lead, and execute what is queued. It may be called inside a task that another
    /// pool thread executes.
    DDS_ReturnCode_t executeAs(DDS_Long index, bool isLeader = true)
    {
        const PoolThreadGuise guise(aws, index);
        const int depth = leadershipDepth();
        if (isLeader) DDS_AsyncWaitSet_becomeNewLeader(aws, guise.thread());
        const DDS_ReturnCode_t retCode =
            DDS_AsyncWaitSet_executeInternalTasks(aws, &pendingStop[static_cast<std::size_t>(index)], guise.thread());
        while (leadershipDepth() > depth) DDS_AsyncWaitSet_promoteNewLeader(aws, guise.thread());
        return retCode;
    }
    DDS_ReturnCode_t acknowledgeStopAs(DDS_Long index)
    {
        const PoolThreadGuise guise(aws, index);
        return DDS_AsyncWaitSet_notify_task_executed(aws, pendingStop[static_cast<std::size_t>(index)]);
    }

    int queueLength() const { return aws->_internalTaskQueue._size; }
    DDS_AWSTaskInfo *firstRequest() const
    {
        return reinterpret_cast<DDS_AWSTaskInfo *>(VESKInlineList_getFirst(&aws->_internalTaskQueue));
    }
    /// Take the first request out of the queue as if nobody had ever submitted it.
    void takeBack()
    {
        DDS_AWSTaskInfo *const taskInfo = firstRequest();
        VESKInlineList_removeNodeEA(&aws->_internalTaskQueue, &taskInfo->_node);
        aws->_queuedRequestCount = queueLength();
        DDS_CountingCondition_decrement(aws->_taskCondition, 1);
        if (taskInfo->_completionToken != nullptr)
            taskInfo->_completionToken->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
        DDS_AsyncWaitSet_returnTaskInfo(aws, taskInfo);
        aws->_isStopInitiated = 0;
    }
    int doorbell() const { return DDS_CountingCondition_get_count(aws->_taskCondition); }
    /// `configured`, or `immediate` while requests are pending.
    DDS_Long eventCount() const
    {
        DDS_WaitSetProperty_t property = {};
        DDS_WaitSet_get_property(aws->_sharedWaitSet, &property);
        return property.max_event_count;
    }
    int lentTokens() const { return aws->_loanedCompletionTokenCount; }
    int idleTokens() const { return aws->_completionTokenPool._size; }
    /// Requests whose records have not been returned.
    int liveRequests() const { return aws->_liveTaskInfoList._size; }
    std::vector<DDS_Condition *> registered() const
    {
        std::vector<DDS_Condition *> conditions;
        for (const auto *node = VESKInlineList_getFirst(&aws->_conditionInfoList); node != nullptr;
             node = VESKInlineListNode_getNext(node))
            conditions.push_back(reinterpret_cast<const DDS_AWSConditionInfo *>(node)->_condition);
        return conditions;
    }

    /// A rule about the areas of the wait set under test: "enter" and "leave" for its critical section, "lead" and
    /// "promote" for its leadership.
    DoubledService area(const std::string &step, TestLine line = TestLine::here())
    {
        const bool isEntry = step == "enter" || step == "lead";
        const bool isCritical = step == "enter" || step == "leave";
        const VESKExclusiveArea *const area = isCritical ? aws->_criticalSectionEA : aws->_threadPoolSynchronizerEA;
        EXPECT_NE(area, nullptr) << "a pool of one has no leadership";
        return doubles.on(isEntry ? "VESKWorker_enterExclusiveArea" : "VESKWorker_leaveExclusiveArea", line).with(area);
    }

    static constexpr DDS_Long configured = 3;  ///< Events of the wait set property while no request is pending.
    static constexpr DDS_Long immediate = 1;   ///< While one is.

    const std::size_t blockCount;
    Doubles doubles;  ///< Areas of the wait set under test are noted as their steps, those of others as "other".
    LogCapture log;
    RecordingListener heard;
    DDS_AsyncWaitSet *aws = nullptr;
    std::deque<HandledGuard> guards;
    DDS_AWSTaskInfo *pendingStop[3] = {};

private:
    std::vector<DDS_AsyncWaitSet *> _waitSets;
    std::vector<std::pair<DDS_AsyncWaitSet *, DDS_AsyncWaitSetCompletionToken *>> _tokens;
    int _tokenCount = 0;
};

#endif
