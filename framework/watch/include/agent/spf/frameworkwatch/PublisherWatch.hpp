#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworkwatch/WatchResult.hpp"

namespace agent::spf::frameworkwatch {

class WatchListener;

/// Follows the framework's events for all publishers of one configuration, from construction to destruction.
///
/// A configuration's own wait for unpublishing follows one publisher, and stops listening when it ends; the events of
/// the other publishers may then be missed. Before publisher IDs are published again, all publishers of the old
/// configuration must be unpublished, because their late events would be taken for those of the new one:
///
///     PublisherWatch watch(context, {"indoor", "outdoor"});  // before the publication
///     auto weather = builder.build();
///     ...
///     weather.reset();
///     if (watch.waitUntilAllUnpublished(10s)) {
///       // the IDs can be used again, with a new watch
///     }
///
/// Construct a watch before the publication, since it does not know earlier events, and one for each configuration that
/// is built by a new builder, since their revisions begin with 1 again. A revision with other publishers needs a new
/// watch as well.
///
/// Events may arrive on any thread, on several at once, repeatedly and late; the reports of one publisher count in the
/// order of their arrival. After a publisher was reported as unpublished, further reports of the same or an older
/// revision are ignored, except that its services are published, which happens when the framework's bundles are
/// restarted.
///
/// Any number of threads may call the member functions at the same time. No thread may use the watch during or after
/// its destruction; events may still arrive then, and are ignored.
class PublisherWatch {
 public:
  /// Registers a FrameworkListener.
  /// \param context       a context of the framework that the configuration is published in
  /// \param publisherIDs  the `uniqueID`s of the publishers to follow; repeated ones count once. With none, all waits
  ///                      are done at once.
  /// \param revision      the modification count of the publication that follows: 1 for a new builder's
  /// \param onChange      called after each event about one of the publishers, on the thread that delivers it, after
  ///                      waiting threads were notified. Several calls may overlap. No lock is held, so it may call
  ///                      this object's functions, but a wait inside it that blocks would delay the framework's events.
  ///                      It must not throw: the framework would receive the exception.
  /// \throws std::runtime_error if the context is not valid
  /// \throws what registering a service throws otherwise
  PublisherWatch(cppmicroservices::BundleContext context, const std::vector<std::string>& publisherIDs,
                 std::uint32_t revision = 1, std::function<void()> onChange = {});

  /// Unregisters the listener, and blocks until calls of `onChange` on other threads have returned, so `onChange` may
  /// refer to objects that are destroyed after the watch. It must not wait for the destroying thread. May run
  /// inside `onChange` itself. Never throws, even if the framework has stopped.
  ~PublisherWatch();

  PublisherWatch(const PublisherWatch&) = delete;
  PublisherWatch& operator=(const PublisherWatch&) = delete;

  /// Sets the revision that counts from now on. Call it after `modify()` and `build()`; events of the revision that
  /// have arrived already are not lost. Does not block.
  ///
  /// Events of the expected revision and of newer ones count. Those of older ones are stale, with one exception: a
  /// publisher that was reported by an older revision, and not yet as unpublished, is there until it is, since a
  /// configuration that is withdrawn soon after a modification may be reported with the older revision only.
  /// \param revision  the modification count; one that is lower than the expected one changes nothing
  void expectRevision(std::uint32_t revision);

  /// Blocks until all publishers have published their services, one has failed, or the time is up. Endpoints that are
  /// still to be connected are not waited for.
  ///
  /// Zero and negative time-outs examine the state once and do not block; those of more than a year count as a year.
  /// \param timeout  in milliseconds, measured on the steady clock
  /// \return the state at the end; true if all are published and none has failed
  [[nodiscard]] WatchResult waitUntilAllPublished(std::chrono::milliseconds timeout);

  /// Blocks until the services of all publishers are unpublished, or the time is up. Call it after the configuration
  /// was withdrawn, for example by resetting its handle.
  ///
  /// A configuration that is withdrawn at once may never reach the framework, and then its publishers report nothing.
  /// Those that are silent count as gone when the limit of silence has passed since the first call of this function for
  /// the expected revision. A silent publisher that reports something later is outstanding from then on.
  /// \param timeout       as above
  /// \param silenceLimit  in milliseconds, from the first call; zero and negative ones: silent publishers are gone at
  ///                      once
  /// \return the state at the end; true if nothing is outstanding, and nothing is silent or the limit has passed.
  ///         Failures do not matter for that, but are listed.
  [[nodiscard]] WatchResult waitUntilAllUnpublished(std::chrono::milliseconds timeout,
                                                    std::chrono::milliseconds silenceLimit = std::chrono::seconds(1));

 private:
  const std::shared_ptr<WatchListener> listener_;
  cppmicroservices::ServiceRegistration<frameworklistener::FrameworkListener> registration_;
};

}  // namespace agent::spf::frameworkwatch
