/// @file
/// In the simulation a body runs under a number of seeds.
#include "PlatformRun.hpp"

#include "sim/SimScenario.hpp"

void onPlatform(const std::function<void()> &body, TestLine line)
{
    forEachSeed(50, body, line);
}
