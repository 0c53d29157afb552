/// @file
/// The double of DDS_AsyncWaitSet_loanCompletionToken.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(1, DDS_AsyncWaitSet_loanCompletionToken, .failure = nullptr);
