/// @file
/// The double of DDS_AsyncWaitSet_loanCompletionToken.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(1, DDS_AsyncWaitSet_loanCompletionToken, .failure = nullptr);
