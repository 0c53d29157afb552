/// @file
/// The double of DDS_AsyncWaitSetCompletionToken_wait.
#include "Double.hpp"
#include "dds_c/dds_c_asyncwaitset.h"

DOUBLE(2, DDS_AsyncWaitSetCompletionToken_wait, .failure = DDS_RETCODE_ILLEGAL_OPERATION, .shown = {0});
