/// @file
/// On real threads a body just runs.
#include "PlatformRun.hpp"

void onPlatform(const std::function<void()> &body, TestLine /*line*/)
{
    body();
}
