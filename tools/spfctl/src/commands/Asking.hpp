#pragma once

#include <chrono>
#include <string>

namespace spfctl {

/// Asks the peer at the other end of one of a publisher's connections what it publishes. Blocks until
/// there is an answer or the time is up; needs the process-wide framework.
/// \return one line with its answer, or with the reason why there is none; empty when the framework
///         has no peer directory
std::string askPeer(const std::string& publisherID, const std::string& endpoint, std::chrono::milliseconds timeout);

}  // namespace spfctl
