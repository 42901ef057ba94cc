#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include "AnnouncedNames.hpp"
#include "EtcdDiscovery.hpp"
#include "agent/spf/etcd/readSettings.hpp"
#include "agent/spf/frameworksupport/ListenerCaller.hpp"
#include "agent/spf/frameworksupport/findService.hpp"
#include "agent/spf/frameworksupport/logWarning.hpp"

namespace spf::etcddiscovery {

using agent::spf::etcd::readSettings;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using agent::spf::frameworksupport::findServices;
using agent::spf::frameworksupport::ListenerCaller;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::BundleContext;

namespace {

constexpr int ranking = 10;  // above the table, which has none

/// Returns a framework property as text; numbers are accepted, for example of seconds.
std::optional<std::string> propertyText(BundleContext context, const std::string& name) {
  const Any value = context.GetProperty(name);
  if (value.Empty()) {
    return std::nullopt;
  }
  const auto* text = any_cast<std::string>(&value);
  return text != nullptr ? *text : value.ToString();
}

void warn(const std::string& text) {
  agent::spf::frameworksupport::logWarning("spf::etcddiscovery", text);
}

}  // namespace

/// Does nothing unless the framework has the property `spf.discovery.etcd`.
class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(BundleContext context) override {
    const auto settings = readSettings([&](const std::string& name) { return propertyText(context, name); });
    if (!settings) {
      return;
    }
    listeners_ = std::make_shared<ListenerCaller<DiscoveryListener>>(context, &DiscoveryListener::discoveryChanged);
    // The announcements hold the caller too, since they may outlive the bundle.
    names_ = std::make_shared<AnnouncedNames>([listeners = listeners_] { listeners->request(); }, &warn);
    names_->begin(std::make_unique<agent::spf::etcd::Registry>(*settings, callbacks()));
    try {
      registration_ = context.RegisterService<Discovery>(
          std::make_shared<EtcdDiscovery>(names_, [context] { return findServices<Discovery>(context); }),
          {{cppmicroservices::Constants::SERVICE_RANKING, ranking}});
    } catch (...) {
      names_->end();
      throw;
    }
  }

  void Stop(BundleContext) override {
    if (!names_) {
      return;
    }
    registration_.Unregister();
    names_->end();
    listeners_->request();
    listeners_->stop();
    names_.reset();
    listeners_.reset();
  }

 private:
  agent::spf::etcd::Registry::Callbacks callbacks() const {
    const std::weak_ptr<AnnouncedNames> names = names_;
    return {[names] {
              if (const auto known = names.lock()) {
                known->refresh();
              }
            },
            &warn};
  }

  std::shared_ptr<ListenerCaller<DiscoveryListener>> listeners_;
  std::shared_ptr<AnnouncedNames> names_;
  cppmicroservices::ServiceRegistration<Discovery> registration_;
};

}  // namespace spf::etcddiscovery

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::etcddiscovery::Activator)
