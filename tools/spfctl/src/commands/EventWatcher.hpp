#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "commands/Changes.hpp"

namespace spfctl {

/// Receives the framework's events for a set of publishers: wakes the working thread at each one, and
/// records which publishers have unpublished their services. The library's own wait follows one publisher
/// only, and stops listening when it ends.
///
/// A configuration that is withdrawn at once may never reach the framework, and then its publishers
/// never report anything.
///
/// Events may arrive on any thread; the object is synchronised by itself.
class EventWatcher : public agent::spf::frameworklistener::FrameworkListener {
 public:
  EventWatcher(Changes& changes, const std::vector<std::string>& publisherIDs);

  void handleEvent(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> event) override;

  /// Returns the publishers that have reported something, but not yet that their services are unpublished.
  std::vector<std::string> stillPublished() const;

  /// Returns whether there are publishers that have reported nothing at all.
  bool someAreSilent() const;

 private:
  void note(const std::string& publisherID, bool unpublished);

  Changes& changes_;
  mutable std::mutex mutex_;

  // Guarded by `mutex_`.
  std::set<std::string> silent_;
  std::set<std::string> published_;
};

}  // namespace spfctl
