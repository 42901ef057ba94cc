#pragma once

#include <optional>
#include <stdexcept>
#include <type_traits>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleEvent.h"

namespace cppmicroservices {

/// Makes the objects that a BundleTracker keeps for the bundles. It is called without locks, on the thread that opens
/// or closes the tracker or changes the bundle.
template <class T = Bundle>
struct BundleTrackerCustomizer {
  /// Returns the bundle itself, if T is Bundle.
  /// \throws std::runtime_error for any other T
  static T ConvertToTrackedType(const Bundle& bundle) {
    if constexpr (std::is_same_v<T, Bundle>) {
      return bundle;
    } else {
      throw std::runtime_error("a BundleTracker whose tracked type is not Bundle needs a customizer");
    }
  }

  virtual ~BundleTrackerCustomizer() = default;

  /// Makes the object for a bundle that has entered the tracked states.
  /// \param event  the event that caused it; a default one if the bundle was there when the tracker was opened
  /// \return the object to keep; none if the bundle is not to be tracked
  virtual std::optional<T> AddingBundle(const Bundle& bundle, const BundleEvent& event) = 0;
  /// Is called when the bundle has changed from one of the tracked states to another.
  virtual void ModifiedBundle(const Bundle& bundle, const BundleEvent& event, const T& object) = 0;
  /// Is called when the bundle has left the tracked states, or the tracker is being closed.
  virtual void RemovedBundle(const Bundle& bundle, const BundleEvent& event, const T& object) = 0;
};

}  // namespace cppmicroservices
