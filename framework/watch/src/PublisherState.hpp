#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace agent::spf::frameworkwatch {

/// What one publisher has reported, by revisions. Reports of any revision are recorded, since the expected one may be
/// set after its first reports. Not synchronised.
class PublisherState {
 public:
  using Revision = std::uint32_t;

  /// Records that the publisher was reported, with anything but the following.
  void noteReport(Revision revision);
  void notePublished(Revision revision);
  void noteUnpublished(Revision revision);

  /// Records a failure. The first reason of a revision is kept.
  void noteFailure(Revision revision, std::string reason);

  /// Returns whether the services were published by the expected revision or a newer one, and not unpublished since.
  [[nodiscard]] bool isPublished(Revision expected) const;

  /// Returns whether the expected revision or a newer one failed, and none after it was published.
  [[nodiscard]] bool hasFailed(Revision expected) const;

  /// Returns whether the publisher was reported by any revision, and not as unpublished since.
  [[nodiscard]] bool isPresent() const;

  /// Returns whether nothing was reported of the expected revision or a newer one.
  [[nodiscard]] bool isSilent(Revision expected) const;

  /// Returns the reason of the latest failure.
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  // The newest revision of each kind of report; an empty one is lower than any revision.
  std::optional<Revision> reported_;
  std::optional<Revision> published_;
  std::optional<Revision> unpublished_;
  std::optional<Revision> failed_;
  std::string reason_;
};

}  // namespace agent::spf::frameworkwatch
