/// @file
/// Lets one test body run on whichever platform the test program is linked with.
#ifndef PLATFORM_RUN_HPP
#define PLATFORM_RUN_HPP

#include <functional>

#include "TestLine.hpp"

/// Real threads: call the body. Simulation: run it as the first simulated thread, under several seeds.
/// A failing run fails the test, at the caller's line.
void onPlatform(const std::function<void()> &body, TestLine line = TestLine::here());

#endif
