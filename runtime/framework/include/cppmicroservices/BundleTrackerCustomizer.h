#pragma once

#include <optional>
#include <stdexcept>
#include <type_traits>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleEvent.h"

namespace cppmicroservices {

/// Decides what a BundleTracker keeps for each bundle. It is called without locks, on the thread that opens or
/// closes the tracker or changes the bundle.
template <class T = Bundle>
struct BundleTrackerCustomizer {
  /// \throws std::runtime_error unless bundles are tracked as themselves
  static T ConvertToTrackedType(const Bundle& bundle) {
    if constexpr (std::is_same_v<T, Bundle>) {
      return bundle;
    } else {
      throw std::runtime_error("a BundleTracker whose tracked type is not Bundle needs a customizer");
    }
  }

  virtual ~BundleTrackerCustomizer() = default;

  /// \param event  what brought the bundle in; a default one if it was there when the tracker was opened
  /// \return what is to be kept; nothing if the bundle is not to be tracked
  virtual std::optional<T> AddingBundle(const Bundle& bundle, const BundleEvent& event) = 0;
  /// The bundle went from one of the tracked states to another.
  virtual void ModifiedBundle(const Bundle& bundle, const BundleEvent& event, const T& object) = 0;
  /// The bundle left the tracked states, or the tracker is being closed.
  virtual void RemovedBundle(const Bundle& bundle, const BundleEvent& event, const T& object) = 0;
};

}  // namespace cppmicroservices
