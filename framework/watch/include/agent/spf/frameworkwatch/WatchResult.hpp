#pragma once

#include <string>
#include <vector>

namespace agent::spf::frameworkwatch {

/// A publisher whose failure the framework reported.
struct FailedPublisher {
  std::string servicePublisherID;  ///< the publisher's uniqueID
  std::string reason;              ///< the text of the framework's error
};

/// What a wait of a PublisherWatch found at its end. Lists are in ascending order of the IDs.
struct WatchResult {
  /// Whether everything that was waited for has happened.
  bool done = false;

  /// The publishers that have reported something and are not finished: those that neither published their services nor
  /// failed, or after a wait for unpublishing those that may still have services.
  std::vector<std::string> outstanding;

  /// The publishers that failed. After a wait for unpublishing they may be among the outstanding ones too.
  std::vector<FailedPublisher> failed;

  /// The publishers that have reported nothing of the expected revision and are not among the outstanding ones.
  std::vector<std::string> silent;

  /// Returns `done`.
  explicit operator bool() const noexcept { return done; }
};

}  // namespace agent::spf::frameworkwatch
