/// @file
/// The double of DDS_SemaphoreAsyncWaitSetCompletionToken_delete.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSetCompletionToken.pkg.h"

DOUBLE(1, DDS_SemaphoreAsyncWaitSetCompletionToken_delete, .shown = {0});
