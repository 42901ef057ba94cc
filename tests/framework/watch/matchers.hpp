#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include "agent/spf/frameworkwatch/WatchResult.hpp"

namespace agent::spf::frameworkwatch {

inline bool operator==(const FailedPublisher& left, const FailedPublisher& right) {
  return left.servicePublisherID == right.servicePublisherID && left.reason == right.reason;
}

inline void PrintTo(const FailedPublisher& publisher, std::ostream* stream) {
  *stream << publisher.servicePublisherID << ": " << publisher.reason;
}

}  // namespace agent::spf::frameworkwatch

namespace watchtest {

using Names = std::vector<std::string>;
using Failures = std::vector<agent::spf::frameworkwatch::FailedPublisher>;

/// Matches a result by all of its members.
inline auto isResult(bool done, const Names& outstanding, const Failures& failed, const Names& silent) {
  using agent::spf::frameworkwatch::WatchResult;
  return testing::AllOf(testing::Field("done", &WatchResult::done, done),
                        testing::Field("outstanding", &WatchResult::outstanding, outstanding),
                        testing::Field("failed", &WatchResult::failed, failed),
                        testing::Field("silent", &WatchResult::silent, silent),
                        testing::ResultOf(
                            "as bool", [](const WatchResult& result) { return static_cast<bool>(result); }, done));
}

}  // namespace watchtest
