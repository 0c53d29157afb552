/// @file
/// Everything of the asynchronous wait set that tests look at: what the library may call, and what only its own folder
/// may.
#ifndef AWS_INTERNALS_HPP
#define AWS_INTERNALS_HPP

#include "halo_utility/AsyncWaitSet.pkg.h"
#include "halo_utility/AsyncWaitSetCompletionToken.hpp"
#include "halo_utility/AsyncWaitSetDispatch.hpp"
#include "halo_utility/AsyncWaitSetExecution.hpp"
#include "halo_utility/AsyncWaitSetLeadership.hpp"
#include "halo_utility/AsyncWaitSetNotification.hpp"
#include "halo_utility/AsyncWaitSetRegistry.hpp"
#include "halo_utility/AsyncWaitSetRelay.hpp"
#include "halo_utility/AsyncWaitSetRequest.hpp"
#include "halo_utility/AsyncWaitSetRun.hpp"
#include "halo_utility/AsyncWaitSetSubmission.hpp"
#include "halo_utility/AsyncWaitSetTask.hpp"
#include "halo_utility/AsyncWaitSetThread.hpp"

#endif
