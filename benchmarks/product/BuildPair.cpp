#include <chrono>
#include <memory>
#include <stdexcept>

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "Measured.hpp"
#include "Pair.hpp"
#include "RunningHost.hpp"
#include "Stations.hpp"
#include "agent/host/services.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "publish/configurationIdentity.hpp"

namespace spf::benchmarks {

using agent::host::services::getFramework;
using agent::host::services::installAndStart;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworksetup::frameworkFactoryPID;
using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworkwatch::PublisherWatch;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;

namespace {

constexpr std::chrono::seconds patience(60);

void require(bool happened) {
  if (!happened) {
    throw std::runtime_error("a configuration was not published or withdrawn within a minute");
  }
}

// Each round publishes what no round has published before, and withdraws it. Only the publication counts.
// Publish: makes, from stations, what publishes them when called, and withdraws them when called again.
template <class Publication>
Side sideOf(int publishers) {
  startHost();
  const auto number = std::make_shared<int>(0);
  const auto published = std::make_shared<AnyMap>(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  return {[](int) {},
          [=](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              const Stations stations((*number)++, publishers);
              PublisherWatch watch(hostContext(), stations.publisherIDs());
              Publication publication(stations);
              measured([&] { publication.publish(); });
              if (round + 1 == rounds) {
                *published = publishedProperties(stations.configurationID());
              }
              require(watch.waitUntilAllPublished(patience).done);
              publication.withdraw();
              require(watch.waitUntilAllUnpublished(patience, patience).done);
            }
          },
          [published] { return Any(*published); }};
}

class Built {
 public:
  explicit Built(const Stations& stations) : builder_(stations.builder()) {}
  void publish() { configuration_ = builder_.build(); }
  void withdraw() { configuration_.reset(); }

 private:
  agent::spf::frameworksetup::SPFConfigurationBuilder builder_;
  SPFConfiguration configuration_;
};

/// Publishes with every call that a publication makes of others, and nothing around them.
class MadeByHand {
 public:
  explicit MadeByHand(const Stations& stations) : id_(stations.configurationID()), encoded_(stations.properties()) {
    for (const auto& name : bundleDirectoryNames()) {
      directories_.push_back(bundleDirectory(name));
    }
    serviceProviders_ = directories_.back();
    directories_.pop_back();
  }

  void publish() {
    for (const auto& directory : directories_) {
      installAndStart(directory);
    }
    installAndStart(serviceProviders_, filter_);
    AnyMap properties(encoded_);
    const auto framework = getFramework();
    auto context = framework->GetBundleContext();
    const auto configurationAdmin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    configuration_ = configurationAdmin->GetFactoryConfiguration(frameworkFactoryPID, id_);
    registration_ = context.RegisterService<FrameworkListener>(std::make_shared<FrameworkListener>());
    configuration_->Update(std::move(properties));
  }

  void withdraw() {
    registration_.Unregister();
    configuration_->Remove();
  }

 private:
  const std::string id_;
  const AnyMap encoded_;
  const cppmicroservices::LDAPFilter filter_{"(bundle.activator=false)"};
  std::vector<agent::host::filesystem::path> directories_;
  agent::host::filesystem::path serviceProviders_;
  std::shared_ptr<Configuration> configuration_;
  cppmicroservices::ServiceRegistration<FrameworkListener> registration_;
};

}  // namespace

Pair build() {
  return {"build", {1, 10}, [](int size) { return 500 / size; }, &sideOf<Built>, &sideOf<MadeByHand>, Counting::parts};
}

}  // namespace spf::benchmarks
