#include "Faults.hpp"

#include <atomic>
#include <csignal>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>

#include "FailingAllocations.hpp"
#include "FlakyConfigurationAdmin.hpp"
#include "Life.hpp"
#include "agent/host/services.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace spf::soak {

using cppmicroservices::service::cm::ConfigurationAdmin;
using namespace agent::spf::frameworklistener;

namespace {

cppmicroservices::BundleContext context() {
  return agent::host::services::getFramework()->GetBundleContext();
}

class FlakyConfigurationAdminFault : public Fault {
 public:
  explicit FlakyConfigurationAdminFault(Random& random) : failures_(std::make_shared<Failures>(random)) {
    auto framework = context();
    const auto own = framework.GetService(framework.GetServiceReference<ConfigurationAdmin>());
    registration_ = framework.RegisterService<ConfigurationAdmin>(
        std::make_shared<FlakyConfigurationAdmin>(own, [failures = failures_] { return failures->next(); }),
        {{cppmicroservices::Constants::SERVICE_RANKING, cppmicroservices::Any(1000)}});
  }
  ~FlakyConfigurationAdminFault() override {
    registration_.Unregister();
    failures_->end();
  }

 private:
  // Shared, since the framework's bundles may keep what they have got of the service.
  class Failures {
   public:
    explicit Failures(Random& random) : oneIn_(2 + random.below(8)), random_(random.seed()) {}

    bool next() {
      const std::lock_guard<std::mutex> lock(mutex_);
      return !hasEnded_ && random_.oneIn(oneIn_);
    }
    void end() {
      const std::lock_guard<std::mutex> lock(mutex_);
      hasEnded_ = true;
    }

   private:
    std::mutex mutex_;
    const int oneIn_;

    // Guarded by `mutex_`:
    Random random_;
    bool hasEnded_ = false;
  };

  const std::shared_ptr<Failures> failures_;
  cppmicroservices::ServiceRegistration<ConfigurationAdmin> registration_;
};

// Stops a bundle in the middle of the lives.
class StoppedBundleFault : public Fault {
 public:
  explicit StoppedBundleFault(std::string name) : name_(std::move(name)) {}
  void strike() override {
    for (auto& bundle : context().GetBundles()) {
      if (bundle.GetSymbolicName().find(name_) != std::string::npos) {
        bundle.Stop();
        return;
      }
    }
    throw std::logic_error("no bundle " + name_);
  }

 private:
  const std::string name_;
};

class StoppedFrameworkFault : public Fault {
 public:
  void strike() override {
    const auto framework = agent::host::services::getFramework();
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero());
  }
};

class FailedAllocationsFault : public Fault {
 public:
  void enter(Random& random) override {
    failing() = std::make_unique<FailingAllocations>(1 + random.below(random.oneIn(2) ? 50 : 500));
  }
  void leave() override { failing().reset(); }

 private:
  static std::unique_ptr<FailingAllocations>& failing() {
    thread_local std::unique_ptr<FailingAllocations> current;
    return current;
  }
};

// Lowers one of the process's limits.
class LimitFault : public Fault {
 public:
  LimitFault(__rlimit_resource resource, rlim_t limit) : resource_(resource) {
    getrlimit(resource_, &before_);
    const rlimit lowered{limit, before_.rlim_max};
    setrlimit(resource_, &lowered);
  }
  ~LimitFault() override { setrlimit(resource_, &before_); }

 private:
  const __rlimit_resource resource_;
  rlimit before_{};
};

[[maybe_unused]] rlim_t fewDescriptors(Random& random) {
  const int next = dup(STDIN_FILENO);
  close(next);
  return static_cast<rlim_t>(next + random.below(12));
}

// Threads that send what listeners have to ignore: events of older revisions, and those of publishers that nobody has.
class ForeignEventsFault : public Fault {
 public:
  explicit ForeignEventsFault(Random& random) {
    const int count = 1 + random.below(4);
    for (int thread = 0; thread < count; ++thread) {
      threads_.emplace_back([this, seed = random.seed()] { send(Random(seed)); });
    }
  }
  ~ForeignEventsFault() override {
    isEnding_ = true;
    for (auto& thread : threads_) {
      thread.join();
    }
  }

 private:
  void send(Random random) {
    auto framework = context();
    while (!isEnding_) {
      for (const auto& reference : framework.GetServiceReferences<FrameworkListener>()) {
        if (const auto listener = listenerOf(framework, reference)) {
          listener->handleEvent(event(random));
        }
      }
    }
  }

  // Null if it has been unregistered meanwhile.
  static std::shared_ptr<FrameworkListener> listenerOf(
      cppmicroservices::BundleContext& framework,
      const cppmicroservices::ServiceReference<FrameworkListener>& reference) {
    try {
      return framework.GetService(reference);
    } catch (const std::invalid_argument&) {
      return nullptr;
    }
  }

  static std::shared_ptr<const FrameworkEvent> event(Random& random) {
    const bool isOld = random.oneIn(2);
    const auto ids = Life::publisherIDs(random.below(3));
    const auto id = isOld ? ids[static_cast<std::size_t>(random.below(static_cast<int>(ids.size())))] : "nobody";
    const auto revision = isOld ? 0U : random.seed();
    switch (random.below(3)) {
      case 0: {
        auto services = std::make_shared<ServicesEvent>();
        services->kind = FrameworkEvent::services;
        services->change = ServicesEvent::allUnpublished;
        services->servicePublisherID = id;
        services->modificationCount = revision;
        return services;
      }
      case 1: {
        auto error = std::make_shared<ErrorEvent>();
        error->kind = FrameworkEvent::error;
        error->error = std::make_exception_ptr(std::runtime_error("an old error"));
        error->servicePublisherID = id;
        error->modificationCount = revision;
        return error;
      }
      default: {
        auto endpoint = std::make_shared<EndpointEvent>();
        endpoint->kind = FrameworkEvent::endpoint;
        endpoint->change = static_cast<std::uint32_t>(random.below(5));
        endpoint->endpoint = std::string("inproc://") + id;
        endpoint->servicePublisherID = id;
        endpoint->modificationCount = revision;
        return endpoint;
      }
    }
  }

  std::atomic<bool> isEnding_{false};
  std::vector<std::thread> threads_;
};

#ifdef SPF_RUNTIME_BUNDLED
constexpr auto damageOfFailedAllocations = Damage::configurations;
#else
// CppMicroServices keeps a service whose registration fails half-way, and nobody has the means to unregister it.
constexpr auto damageOfFailedAllocations = Damage::framework;
#endif

}  // namespace

const std::vector<KindOfFault>& kindsOfFaults() {
  static const std::vector<KindOfFault> kinds = {
      {"events of others", Damage::none, [](Random& random) { return std::make_unique<ForeignEventsFault>(random); }},
      {"full disk", Damage::none, [](Random&) { return std::make_unique<LimitFault>(RLIMIT_FSIZE, 0); }},
      {"throwing Configuration Admin", Damage::configurations,
       [](Random& random) { return std::make_unique<FlakyConfigurationAdminFault>(random); }},
      {"failed allocations", damageOfFailedAllocations,
       [](Random&) { return std::make_unique<FailedAllocationsFault>(); }},
#ifndef __SANITIZE_ADDRESS__  // the sanitizer's own checks need a descriptor
      {"no descriptors", Damage::framework,
       [](Random& random) { return std::make_unique<LimitFault>(RLIMIT_NOFILE, fewDescriptors(random)); }},
#endif
      {"Configuration Admin stopped", Damage::framework,
       [](Random&) { return std::make_unique<StoppedBundleFault>("configuration_admin"); }},
      {"transport stopped", Damage::framework, [](Random&) { return std::make_unique<StoppedBundleFault>("zeromq"); }},
      {"framework stopped", Damage::framework, [](Random&) { return std::make_unique<StoppedFrameworkFault>(); }}};
  return kinds;
}

}  // namespace spf::soak
