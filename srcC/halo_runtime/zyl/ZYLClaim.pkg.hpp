/// @file
/// Claims: what the protocol guarantees at a place, as an expression. The simulation build checks them, and a false one
/// ends the run with its words and a list of what every thread does; elsewhere they cost nothing.
#ifndef ZYL_CLAIM_PKG_HPP
#define ZYL_CLAIM_PKG_HPP

#if defined(ASYNCWAITSET_SIMULATION)
#include "../platform/Platform.hpp"
#define ZYL_CLAIM(condition_, text_) ((condition_) ? static_cast<void>(0) : platform::claimFailed(text_))
#else
#define ZYL_CLAIM(condition_, text_) static_cast<void>(0)
#endif

#endif
