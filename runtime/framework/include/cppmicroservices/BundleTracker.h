#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/BundleTrackerCustomizer.h"
#include "cppmicroservices/detail/TrackedItems.h"

namespace cppmicroservices {

/// Tracks the bundles that are in certain states: while it is open, it keeps an object for each of them. Any thread may
/// use it. A derived class has to close it in its destructor.
template <class T = Bundle>
class BundleTracker : protected BundleTrackerCustomizer<T> {
 public:
  using TrackingMap = std::unordered_map<Bundle, T>;
  using BundleStateMaskType = std::underlying_type_t<Bundle::State>;

  template <class... States>
  static constexpr BundleStateMaskType CreateStateMask(const States&... states) {
    static_assert(sizeof...(states) > 0 && (std::is_same_v<States, Bundle::State> && ...),
                  "a mask is made of bundle states");
    return (static_cast<BundleStateMaskType>(states) | ...);
  }

  /// \param stateMask  the states, made by CreateStateMask
  /// \param customizer  makes the objects to keep; null means the tracker itself
  BundleTracker(const BundleContext& context, const BundleStateMaskType stateMask,
                const std::shared_ptr<BundleTrackerCustomizer<T>> customizer = nullptr) noexcept
      : context_(context), stateMask_(stateMask), customizer_(customizer) {}

  ~BundleTracker() override { Close(); }

  /// Begins to track. Does nothing if the tracker is open.
  /// \throws IllegalStateException if the bundle context is not valid
  void Open() {
    const auto items = std::make_shared<Items>(calls());
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (items_ && !items_->isClosed()) {
        return;
      }
      token_ = context_.AddBundleListener(
          [watch = std::weak_ptr<Items>(items), mask = stateMask_](const BundleEvent& event) {
            if (const auto tracked = watch.lock()) {
              handle(*tracked, mask, event);
            }
          });
      items_ = items;
    }
    items->trackInitial([this] { return initialBundles(); });
  }

  /// Stops tracking and removes all objects. Waits for customizer calls on other threads. Exceptions of the customizer
  /// are swallowed.
  void Close() noexcept {
    try {
      std::shared_ptr<Items> items;
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        items = items_;
        if (token_ && context_) {
          context_.RemoveListener(std::move(token_));
        }
      }
      if (items) {
        items->close();
      }
    } catch (...) {
      // The context has become invalid meanwhile, or the customizer failed: the caller could do nothing about either.
    }
  }

  std::vector<Bundle> GetBundles() const noexcept {
    std::vector<Bundle> bundles;
    for (const auto& entry : GetTracked()) {
      bundles.push_back(entry.first);
    }
    return bundles;
  }

  /// Returns the object that is kept for the bundle; none if it is not tracked.
  std::optional<T> GetObject(const Bundle& bundle) const noexcept {
    const auto items = currentItems();
    return items && bundle ? items->find(bundle) : std::nullopt;
  }

  TrackingMap GetTracked() const noexcept {
    const auto items = currentItems();
    return items ? items->all() : TrackingMap();
  }

  /// Returns how often a bundle was added, modified or removed since the tracker was opened; -1 if it is not open.
  int GetTrackingCount() const noexcept {
    const auto items = currentItems();
    return items && !items->isClosed() ? items->changes() : -1;
  }

  size_t Size() const noexcept { return GetTracked().size(); }
  bool IsEmpty() const noexcept { return Size() == 0; }

  /// Forgets a bundle until it changes.
  void Remove(const Bundle& bundle) noexcept {
    try {
      if (const auto items = currentItems()) {
        items->untrack(bundle, BundleEvent());
      }
    } catch (...) {
      // The customizer failed, which this function cannot propagate.
    }
  }

  std::optional<T> AddingBundle(const Bundle& bundle, const BundleEvent&) override {
    return BundleTrackerCustomizer<T>::ConvertToTrackedType(bundle);
  }
  void ModifiedBundle(const Bundle&, const BundleEvent&, const T&) override {}
  void RemovedBundle(const Bundle&, const BundleEvent&, const T&) override {}

 private:
  using Items = detail::TrackedItems<Bundle, T, BundleEvent>;

  static void handle(Items& items, BundleStateMaskType mask, const BundleEvent& event) {
    if (event.GetType() == BundleEvent::BUNDLE_UNRESOLVED) {
      return;  // a step of uninstalling the bundle, which ends with an event of its own
    }
    const auto bundle = event.GetBundle();
    if (bundle.GetState() & mask) {
      items.track(bundle, event);
    } else {
      items.untrack(bundle, event);
    }
  }

  typename Items::Calls calls() {
    // The calls share ownership of the customizer; the tracker itself outlives them.
    const auto kept = customizer_;
    BundleTrackerCustomizer<T>* const customizer = kept ? kept.get() : this;
    return {[kept, customizer](const Bundle& bundle, const BundleEvent& event) {
              return customizer->AddingBundle(bundle, event);
            },
            [kept, customizer](const Bundle& bundle, const BundleEvent& event, const T& object) {
              customizer->ModifiedBundle(bundle, event, object);
            },
            [kept, customizer](const Bundle& bundle, const BundleEvent& event, const T& object) {
              customizer->RemovedBundle(bundle, event, object);
            }};
  }

  std::vector<Bundle> initialBundles() const {
    std::vector<Bundle> bundles;
    for (const auto& bundle : context_.GetBundles()) {
      if (bundle.GetState() & stateMask_) {
        bundles.push_back(bundle);
      }
    }
    return bundles;
  }

  std::shared_ptr<Items> currentItems() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return items_;
  }

  // Constant after construction, except for the context, which is synchronised by itself:
  BundleContext context_;
  const BundleStateMaskType stateMask_;
  const std::shared_ptr<BundleTrackerCustomizer<T>> customizer_;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::shared_ptr<Items> items_;
  ListenerToken token_;
};

}  // namespace cppmicroservices
