#include "PublisherState.hpp"

#include <algorithm>
#include <utility>

namespace agent::spf::frameworkwatch {

// A late report of an unpublished revision changes no answer, since it is not newer than `unpublished_`.
void PublisherState::noteReport(Revision revision) {
  reported_ = std::max<std::optional<Revision>>(reported_, revision);
}

void PublisherState::notePublished(Revision revision) {
  if (revision < unpublished_) {
    return;
  }
  if (revision == unpublished_) {
    unpublished_.reset();  // published again, because the framework's bundles were restarted
  }
  noteReport(revision);
  published_ = std::max<std::optional<Revision>>(published_, revision);
}

void PublisherState::noteUnpublished(Revision revision) {
  unpublished_ = std::max<std::optional<Revision>>(unpublished_, revision);
  if (published_ <= unpublished_) {
    published_.reset();
  }
}

void PublisherState::noteFailure(Revision revision, std::string reason) {
  noteReport(revision);
  if (revision > unpublished_ && revision > failed_) {
    failed_ = revision;
    reason_ = std::move(reason);
  }
}

bool PublisherState::isPublished(Revision expected) const {
  return published_ >= expected;
}

bool PublisherState::hasFailed(Revision expected) const {
  return failed_ >= expected && failed_ >= published_;
}

bool PublisherState::isPresent() const {
  return reported_ > unpublished_;
}

bool PublisherState::isSilent(Revision expected) const {
  return reported_ < expected && unpublished_ < expected;
}

}  // namespace agent::spf::frameworkwatch
