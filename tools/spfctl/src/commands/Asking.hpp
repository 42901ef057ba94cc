#pragma once

#include <chrono>
#include <string>

namespace spfctl {

/// What asking a peer resulted in.
struct AskResult {
  bool isAnswer = false;
  std::string text;  ///< one line: the answer, or why there is none; empty if the framework has no peer directory
};

/// Asks the peer at the other end of one of a publisher's connections what it publishes. Blocks until
/// there is an answer or the time is up; needs the process-wide framework. Any thread may call it.
AskResult askPeer(const std::string& publisherID, const std::string& endpoint, std::chrono::milliseconds timeout);

}  // namespace spfctl
