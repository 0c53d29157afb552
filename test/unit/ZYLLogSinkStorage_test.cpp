/// @file
/// Standard error in a program in which the storage of a thread is used up.
#include <gmock/gmock.h>

#include "StandardErrorTap.hpp"
#include "halo_runtime/platform/Platform.hpp"
#include "halo_runtime/zyl/ZYLLogWords.pkg.hpp"

namespace {

/// Before anything is printed.
const bool isStorageUsedUp = [] {
    while (ZYLPlatform_createThreadKey(sizeof(void *), nullptr) != platform::noThreadKey) {
    }
    return true;
}();

void trace(const char *thread, const std::string &event)
{
    ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, DDS_SUBMODULE_MASK_ASYNC_WAITSET, "[AWS|%s]: ", thread);
    ZYL_PRINT_TEXT(ZYL_LOG_LEVEL_TRACE, DDS_SUBMODULE_MASK_ASYNC_WAITSET, "%s\n", event.c_str());
}

}  // namespace

TEST(LogWithoutStorage, every_print_is_a_line_of_its_own_and_one_write)
{
    ASSERT_TRUE(isStorageUsedUp);
    StandardErrorTap tap;
    trace("pool00", "spawned");
    EXPECT_THAT(tap.writes(), testing::ElementsAre("[8] trace: [AWS|pool00]: \n", "[8] trace: spawned\n"));
    trace("pool00", std::string(1500, 'x'));
    EXPECT_THAT(tap.writes(),
                testing::ElementsAre("[8] trace: [AWS|pool00]: \n", "[8] trace: " + std::string(1500, 'x') + "\n"));
    ZYL_PRINT(ZYL_LOG_LEVEL_WARNING, DDS_SUBMODULE_MASK_ASYNC_WAITSET, ZYL_LOG_ANY_FAILURE_s, "message");
    EXPECT_THAT(tap.writes(), testing::ElementsAre("[2] TestBody: !message\n"));
}
