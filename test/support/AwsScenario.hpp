/// @file
/// A wait set for one run of a schedule test, and what such tests do again and again.
#ifndef AWS_SCENARIO_HPP
#define AWS_SCENARIO_HPP

#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "Signal.hpp"
#include "SimScenario.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/zyl/ZYLShared.pkg.hpp"

/// How many seeds a scenario runs under.
constexpr int scenarioSeeds = 500;

constexpr DDS_Duration_t forever = {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC};

/// Quiet for a scope in which refusals and failures are expected.
class Quiet {
public:
    Quiet() : _mask(sharedRead(DDSLog_g_instrumentationMask)) { sharedWrite(DDSLog_g_instrumentationMask, 0); }
    ~Quiet() { sharedWrite(DDSLog_g_instrumentationMask, _mask); }
    Quiet(const Quiet &) = delete;
    Quiet &operator=(const Quiet &) = delete;

private:
    std::uint32_t _mask;
};

/// Owns a wait set; deletes it at the end and expects that to work.
class ScenarioWaitSet {
public:
    explicit ScenarioWaitSet(DDS_UnsignedLong poolSize, DDS_Long level = 1,
                             const DDS_AsyncWaitSetListener *listener = nullptr)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize, level);
        _aws = DDS_AsyncWaitSet_new_with_listener(&property, listener);
        EXPECT_NE(_aws, nullptr);
    }
    explicit ScenarioWaitSet(const DDS_AsyncWaitSetProperty_t &property,
                             const DDS_AsyncWaitSetListener *listener = nullptr,
                             const DDS_ThreadFactory *factory = &DDS_THREAD_FACTORY_USE_DEFAULT)
        : _aws(DDS_AsyncWaitSet_new_with_thread_factory(&property, listener, factory))
    {
        EXPECT_NE(_aws, nullptr);
    }
    ~ScenarioWaitSet() { EXPECT_EQ(DDS_AsyncWaitSet_delete(_aws), DDS_RETCODE_OK); }
    ScenarioWaitSet(const ScenarioWaitSet &) = delete;
    ScenarioWaitSet &operator=(const ScenarioWaitSet &) = delete;

    operator DDS_AsyncWaitSet *() const { return _aws; }
    DDS_AsyncWaitSet *operator->() const { return _aws; }

private:
    DDS_AsyncWaitSet *_aws;
};

/// A completion token for a scope.
class ScenarioToken {
public:
    explicit ScenarioToken(DDS_AsyncWaitSet *aws) : _aws(aws), _token(DDS_AsyncWaitSet_create_completion_token(aws)) {}
    ~ScenarioToken() { EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(_aws, _token), DDS_RETCODE_OK); }
    ScenarioToken(const ScenarioToken &) = delete;
    ScenarioToken &operator=(const ScenarioToken &) = delete;

    operator DDS_AsyncWaitSetCompletionToken *() const { return _token; }
    DDS_ReturnCode_t wait() { return DDS_AsyncWaitSetCompletionToken_wait(_token, &forever); }

private:
    DDS_AsyncWaitSet *_aws;
    DDS_AsyncWaitSetCompletionToken *_token;
};

/// A started wait set dispatches the condition: trigger it and wait for its handler, which gives the signal.
inline void expectDispatched(HandledGuard &guard, Signal &handled)
{
    const int before = guard.runs;
    guard.trigger();
    handled.take();
    EXPECT_GT(guard.runs + guard.inside, before);
}

#endif
