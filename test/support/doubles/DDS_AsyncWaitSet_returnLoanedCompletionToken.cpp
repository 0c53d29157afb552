/// @file
/// The double of DDS_AsyncWaitSet_returnLoanedCompletionToken.
#include "Double.hpp"
#include "halo_utility/AsyncWaitSet.pkg.h"

DOUBLE(2, DDS_AsyncWaitSet_returnLoanedCompletionToken, .failure = DDS_RETCODE_ILLEGAL_OPERATION, .shown = {1});
