#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "display/PublisherState.hpp"
#include "events/recordedEvent.hpp"
#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// Why an event changed nothing.
enum class NoEffect {
  early,                 ///< no configuration was published before it
  unknownKind,           ///< the library has no such kind
  unknownChange,         ///< the library has no such change of services or endpoints
  stale,                 ///< it is about a revision before the configuration's
  foreign,               ///< the configuration has no such publisher
  tooLate,               ///< no listener was registered: every publisher was ready, had failed or was unpublished
  publisherComplete,     ///< the publisher was ready or had failed, and its state is final
  untrackedEndpoint,     ///< the publisher's endpoints are not waited for
  unknownEndpoint,       ///< the publisher has no such endpoint to bind or to connect
  incomparableEndpoint,  ///< the endpoint equals nothing, because it holds an empty value
  repeated               ///< it was reported before
};

/// A configuration that is published without the framework's bundles, and receives recorded events in their place.
///
/// Whether an event has an effect is observed, not computed: the event is delivered to every FrameworkListener that is
/// registered at that moment, as the framework does, and the publisher's state is compared with the one before, which
/// the library's handle reports. The reason why it had none is derived from the same rules that the library's listener
/// has: it ignores unknown kinds, then older revisions, then unknown publishers, then what changes nothing, and is no
/// longer registered once every publisher is ready, has failed or was unpublished.
///
/// For one thread; requires a host without the framework's bundles for as long as it lives.
class ReplayedConfiguration {
 public:
  /// Publishes what a host published: the next revision of the current configuration, or a new configuration if the ID
  /// is another one or the revision is not higher, which is a host that began again.
  /// \param description  the content; has to outlive this object
  void publish(const RecordedConfiguration& recorded, const ConfigurationDescription& description);

  /// Delivers an event. Lines that hold none, configurations and drops, do nothing.
  /// \return why it changed nothing, if so
  std::optional<NoEffect> deliver(const RecordedEvent& event);

  /// Returns the states of the current configuration's publishers, in the order of its description.
  std::vector<PublisherState> states();

  /// Returns the ID and the revision that were recorded last.
  const std::string& configurationID() const { return configurationID_; }
  std::uint32_t revision() const { return revision_; }

 private:
  // What the library says about a publisher.
  struct Progress {
    std::vector<cppmicroservices::Any> toConnect;
    std::vector<cppmicroservices::Any> toBind;
    bool isPublished = false;
    bool hasFailed = false;

    bool isComplete() const { return hasFailed || (isPublished && toConnect.empty() && toBind.empty()); }
    bool isSame(const Progress& other) const;
  };

  template <class Event>
  std::optional<NoEffect> deliverTo(const Event& event);
  template <class Event>
  std::optional<NoEffect> reasonFor(const Event& event, std::size_t listeners, const std::optional<Progress>& progress);
  std::optional<NoEffect> reasonForKnown(const RecordedServices& event, const Progress& progress);
  std::optional<NoEffect> reasonForKnown(const RecordedEndpoint& event, const Progress& progress);
  static std::optional<NoEffect> reasonForKnown(const RecordedError& event, const Progress& progress);

  std::optional<Progress> progressOf(const std::string& publisher);
  std::uint32_t countFor(std::uint32_t revision) const;
  std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> eventOf(const RecordedServices& event) const;
  std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> eventOf(const RecordedEndpoint& event) const;
  std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> eventOf(const RecordedError& event) const;

  agent::spf::frameworksetup::SPFConfiguration configuration_;
  const ConfigurationDescription* description_ = nullptr;
  std::string configurationID_;
  std::uint32_t revision_ = 0;
  std::uint32_t count_ = 0;                     // the library's revision
  std::map<std::string, Progress> beginnings_;  // of this revision's publishers
  std::set<std::string> unpublished_;           // publishers that were reported as unpublished by this revision
};

}  // namespace spfctl
