#include "ManifestConfigurations.hpp"

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "cppmicroservices/BundleEvent.h"

namespace cppmicroservices::configurationadmin {

namespace {

using ConfigurationPtr = std::shared_ptr<service::cm::Configuration>;

/// Returns the value of that key if it has that type, otherwise a default one.
template <class T>
T valueOf(const AnyMap& map, const std::string& key) {
  const auto found = map.find(key);
  const auto* value = found == map.end() ? nullptr : any_cast<T>(&found->second);
  return value ? *value : T();
}

/// A configuration that was published for a manifest, and its change count at that time.
struct Published {
  ConfigurationPtr configuration;
  unsigned long changeCount;
};

/// Publishes one configuration of a manifest.
/// \return none if an equal configuration exists already, which then does not belong to the manifest
/// \throws std::runtime_error  if other code removes the configuration meanwhile
std::optional<Published> publish(ConfigurationRegistry& registry, const std::string& pid, AnyMap properties) {
  auto configuration = registry.obtain(pid);
  if (configuration->GetChangeCount() == 0) {
    configuration->Update(std::move(properties));
  } else if (!configuration->UpdateIfDifferent(std::move(properties)).first) {
    return std::nullopt;
  }
  const auto changeCount = configuration->GetChangeCount();
  return Published{std::move(configuration), changeCount};
}

std::vector<Published> publishAll(ConfigurationRegistry& registry, const AnyMap& headers) {
  std::vector<Published> published;
  for (const auto& entry : valueOf<std::vector<Any>>(valueOf<AnyMap>(headers, "cm"), "configurations")) {
    const auto* wanted = any_cast<AnyMap>(&entry);
    const auto pid = wanted ? valueOf<std::string>(*wanted, "pid") : std::string();
    if (pid.empty()) {
      continue;
    }
    try {
      if (auto one = publish(registry, pid, valueOf<AnyMap>(*wanted, "properties"))) {
        published.push_back(std::move(*one));
      }
    } catch (const std::runtime_error&) {
      // Other code has removed it meanwhile, and so it stays removed.
    }
  }
  return published;
}

/// Removes a configuration unless other code has changed it since.
void removeUnchanged(const Published& published) {
  try {
    if (published.configuration->GetChangeCount() == published.changeCount) {
      published.configuration->Remove();
    }
  } catch (const std::runtime_error&) {
    // Other code has removed it.
  }
}

}  // namespace

class ManifestConfigurations::State {
 public:
  explicit State(std::shared_ptr<ConfigurationRegistry> registry) : registry_(std::move(registry)) {}

  void handle(const BundleEvent& event) {
    if (event.GetType() == BundleEvent::BUNDLE_STARTED) {
      add(event.GetBundle());
    } else if (event.GetType() == BundleEvent::BUNDLE_STOPPING) {
      remove(event.GetBundle());
    }
  }

  void add(const Bundle& bundle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (bundle.GetState() == Bundle::STATE_ACTIVE && published_.count(bundle.GetBundleId()) == 0) {
      published_[bundle.GetBundleId()] = publishAll(*registry_, bundle.GetHeaders());
    }
  }

 private:
  void remove(const Bundle& bundle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& published : published_[bundle.GetBundleId()]) {
      removeUnchanged(published);
    }
    published_.erase(bundle.GetBundleId());
  }

  const std::shared_ptr<ConfigurationRegistry> registry_;

  // Held while configurations change, so that a bundle's start and stop cannot overtake each other. Another thread
  // delivers the changes.
  std::mutex mutex_;
  // Guarded by `mutex_`:
  std::map<long, std::vector<Published>> published_;
};

ManifestConfigurations::ManifestConfigurations(const BundleContext& context,
                                               std::shared_ptr<ConfigurationRegistry> registry)
    : context_(context), state_(std::make_shared<State>(std::move(registry))) {
  token_ = context_.AddBundleListener([state = state_](const BundleEvent& event) { state->handle(event); });
  for (const auto& bundle : context_.GetBundles()) {
    state_->add(bundle);
  }
}

void ManifestConfigurations::close() {
  context_.RemoveListener(std::move(token_));
}

}  // namespace cppmicroservices::configurationadmin
