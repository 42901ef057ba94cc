#include "ManifestConfigurations.hpp"

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "cppmicroservices/BundleEvent.h"

namespace cppmicroservices::configurationadmin {

namespace {

using ConfigurationPtr = std::shared_ptr<service::cm::Configuration>;

/// The value of that key if it is of that type, else none.
template <class T>
T valueOf(const AnyMap& map, const std::string& key) {
  const auto found = map.find(key);
  const auto* value = found == map.end() ? nullptr : any_cast<T>(&found->second);
  return value ? *value : T();
}

/// A configuration as the manifest wants it, and its change count since.
struct Made {
  ConfigurationPtr configuration;
  unsigned long changeCount;
};

/// Returns none if the configuration was there and equal: it is not the manifest's then.
/// \throws std::runtime_error  if somebody else removes it meanwhile
std::optional<Made> make(ConfigurationRegistry& registry, const std::string& pid, AnyMap properties) {
  auto configuration = registry.obtain(pid);
  if (configuration->GetChangeCount() == 0) {
    configuration->Update(std::move(properties));
  } else if (!configuration->UpdateIfDifferent(std::move(properties)).first) {
    return std::nullopt;
  }
  const auto changeCount = configuration->GetChangeCount();
  return Made{std::move(configuration), changeCount};
}

std::vector<Made> configure(ConfigurationRegistry& registry, const AnyMap& headers) {
  std::vector<Made> made;
  for (const auto& entry : valueOf<std::vector<Any>>(valueOf<AnyMap>(headers, "cm"), "configurations")) {
    const auto* wanted = any_cast<AnyMap>(&entry);
    const auto pid = wanted ? valueOf<std::string>(*wanted, "pid") : std::string();
    if (pid.empty()) {
      continue;
    }
    try {
      if (auto one = make(registry, pid, valueOf<AnyMap>(*wanted, "properties"))) {
        made.push_back(std::move(*one));
      }
    } catch (const std::runtime_error&) {
      // Whoever has removed it meanwhile wants it gone.
    }
  }
  return made;
}

/// Leaves what somebody else has changed since.
void removeUnchanged(const Made& made) {
  try {
    if (made.configuration->GetChangeCount() == made.changeCount) {
      made.configuration->Remove();
    }
  } catch (const std::runtime_error&) {
    // Somebody else has removed it.
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
    if (bundle.GetState() == Bundle::STATE_ACTIVE && made_.count(bundle.GetBundleId()) == 0) {
      made_[bundle.GetBundleId()] = configure(*registry_, bundle.GetHeaders());
    }
  }

 private:
  void remove(const Bundle& bundle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& made : made_[bundle.GetBundleId()]) {
      removeUnchanged(made);
    }
    made_.erase(bundle.GetBundleId());
  }

  const std::shared_ptr<ConfigurationRegistry> registry_;

  // Held while configurations change, so that a bundle's start and stop cannot overtake each other;
  // telling of the changes is done by another thread.
  std::mutex mutex_;
  // Guarded by `mutex_`:
  std::map<long, std::vector<Made>> made_;
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
