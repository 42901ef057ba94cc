#include "Life.hpp"

#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include <cppmicroservices/Framework.h>

#include "FailingAllocations.hpp"
#include "Violation.hpp"
#include "agent/host/services.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "spf/test/Gate.hpp"

namespace spf::soak {

using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworkwatch::PublisherWatch;
using std::chrono::milliseconds;

namespace {

constexpr int mostPublishers = 4;
constexpr auto configurationPrefix = "soak-";
constexpr milliseconds shortTime(10);

std::atomic<long> failed{0};

std::string publisherID(int number, int publisher) {
  return configurationPrefix + std::to_string(number) + "-" + std::to_string(publisher);
}

}  // namespace

// The steps of one life, each of which may fail if anything is expected.
class Life::Steps {
 public:
  Steps(int number, Random& random, Expected expected)
      : number_(number), random_(random), expected_(expected), publishers_(1 + random.below(mostPublishers)) {
    for (int publisher = 0; publisher < publishers_; ++publisher) {
      ids_.push_back(publisherID(number, publisher));
    }
  }

  void run() {
    std::optional<PublisherWatch> watch;
    step([&] { watch.emplace(agent::host::services::getFramework()->GetBundleContext(), ids_); });
    SPFConfiguration configuration;
    step([&] { configuration = contents().build(); });
    waitUntilReady(configuration);
    if (random_.oneIn(2)) {
      step([&] { modify(configuration); });
      if (watch) {
        watch->expectRevision(2);
      }
      waitUntilReady(configuration);
    }
    withdraw(configuration);
    if (expected_ == Expected::success) {
      require(watch->waitUntilAllUnpublished(test::patience, test::patience).done, "services stay published");
    }
  }

 private:
  template <class Step>
  void step(const Step& action) {
    try {
      const FailingAllocations::Scope scope;
      action();
    } catch (const std::exception& exception) {
      require(expected_ == Expected::anything, std::string("a step fails: ") + exception.what());
      ++failed;
    }
  }

  // The first publisher binds, and the others connect to it or bind as well.
  SPFConfigurationBuilder contents() {
    SPFConfigurationBuilder builder(configurationPrefix + std::to_string(number_));
    builder.addServiceInterface("measured", "weather.Temperature", {});
    for (int publisher = 0; publisher < publishers_; ++publisher) {
      std::set<std::string> toBind;
      std::set<std::string> toConnect;
      if (publisher == 0 || random_.oneIn(2)) {
        toBind.insert(random_.oneIn(3) ? std::string("tcp://127.0.0.1:*") : inproc(publisher));
      }
      if (publisher == 0) {
        toBind.insert(inproc(0));
      } else if (random_.oneIn(2)) {
        toConnect.insert(inproc(0));
      }
      const auto& id = ids_[static_cast<std::size_t>(publisher)];
      builder.addServicePublisher(id, "rpcservicepublisher", toConnect, toBind, "", "");
      builder.addServiceMapping("measured", id);
    }
    return builder;
  }

  std::string inproc(int publisher) const { return "inproc://" + publisherID(number_, publisher); }

  void modify(SPFConfiguration& configuration) {
    auto builder = configuration.modify();
    const int publisher = random_.below(publishers_);
    const auto& id = ids_[static_cast<std::size_t>(publisher)];
    std::set<std::string> toBind = {inproc(publisher)};
    if (random_.oneIn(2)) {
      toBind.insert(inproc(publisher) + "-more");
    }
    builder.addServiceInterface("more", "weather.Humidity", {});
    builder.addServicePublisher(id, "rpcservicepublisher", {}, toBind, "", "").addServiceMapping("more", id);
    configuration = builder.build();
  }

  void waitUntilReady(SPFConfiguration& configuration) {
    const bool mustSucceed = expected_ == Expected::success;
    const milliseconds timeout = mustSucceed ? milliseconds(test::patience) : shortTime;
    for (const auto& id : ids_) {
      step([&] {
        const bool endpoints = configuration.waitForAllEndpoints(timeout, id);
        const bool services = configuration.waitForAllServices(timeout, id);
        require((endpoints && services) || !mustSucceed, id + " is not ready");
        // It may have been none before, and may be some of a new revision then; but here is one revision.
        const auto outstanding = configuration.listOutstandingEndpoints(id);
        require(!endpoints || (outstanding.first.empty() && outstanding.second.empty()), id + " has what it waits for");
      });
    }
  }

  void withdraw(SPFConfiguration& configuration) {
    switch (random_.below(4)) {
      case 0:
        step([&] { configuration.reset(); });
        break;
      case 1:
        step([&] { configuration = SPFConfiguration(); });
        break;
      case 2:
        step([&] { const auto dropped = configuration.modify(); });
        break;
      default:
        step([&] {
          const bool mustSucceed = expected_ == Expected::success;
          const bool done = configuration.waitForAllServicesToBeUnpublished(
              mustSucceed ? milliseconds(test::patience) : shortTime, ids_.front());
          require(done || !mustSucceed, "services are not reported as unpublished");
        });
    }
  }

  const int number_;
  Random& random_;
  const Expected expected_;
  const int publishers_;
  std::vector<std::string> ids_;
};

Life::Life(int number, Random random) : number_(number), random_(random) {}

void Life::run(Expected expected) {
  Steps(number_, random_, expected).run();
}

std::vector<std::string> Life::publisherIDs(int number) {
  std::vector<std::string> ids;
  for (int publisher = 0; publisher < mostPublishers; ++publisher) {
    ids.push_back(publisherID(number, publisher));
  }
  return ids;
}

long Life::failedSteps() {
  return failed;
}

}  // namespace spf::soak
