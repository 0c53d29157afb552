/// @file
/// The double of DDS_AsyncWaitSet_returnLoanedCompletionToken.
#include "AwsInternals.hpp"
#include "Double.hpp"

DOUBLE(2, DDS_AsyncWaitSet_returnLoanedCompletionToken, .failure = DDS_RETCODE_ILLEGAL_OPERATION, .shown = {1});
