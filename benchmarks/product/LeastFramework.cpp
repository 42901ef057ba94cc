#include "LeastFramework.hpp"

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <zmq.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"
#include "publish/configurationIdentity.hpp"

namespace spf::benchmarks {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksupport::SerialExecutor;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::BundleContext;
using cppmicroservices::ref_any_cast;
using cppmicroservices::service::cm::ManagedServiceFactory;

namespace {

using List = std::vector<Any>;

constexpr int maximalSockets = 4096;

struct Station {
  std::string publisherID;
  std::uint32_t modificationCount;
  Any endpoint;
  void* socket = nullptr;
};

std::vector<Station> readStations(const AnyMap& properties) {
  const auto count = static_cast<std::uint32_t>(any_cast<int>(properties.at("modificationCount")));
  std::vector<Station> stations;
  for (const Any& element : ref_any_cast<List>(properties.at("servicePublisherConfigurations"))) {
    const auto& entry = ref_any_cast<AnyMap>(element);
    const auto& config = ref_any_cast<AnyMap>(entry.at("config"));
    stations.push_back({ref_any_cast<std::string>(entry.at("uniqueID")), count,
                        ref_any_cast<List>(config.at("endpointsToBindTo")).front()});
  }
  return stations;
}

void require(bool succeeded) {
  if (!succeeded) {
    throw std::runtime_error("libzmq refuses");
  }
}

class Factory : public ManagedServiceFactory {
 public:
  explicit Factory(BundleContext context) : sockets_(zmq_ctx_new()), context_(std::move(context)) {
    zmq_ctx_set(sockets_, ZMQ_MAX_SOCKETS, maximalSockets);
  }
  ~Factory() override {
    executor_.stop();
    zmq_ctx_term(sockets_);
  }

  // Only posts: a framework must not call listeners on Configuration Admin's thread.
  void Updated(const std::string& pid, const AnyMap& properties) override {
    executor_.post([this, pid = pid, stations = readStations(properties)]() mutable {
      open(stations_[pid] = std::move(stations));
    });
  }

  void Removed(const std::string& pid) override {
    executor_.post([this, pid = pid] {
      close(stations_[pid]);
      stations_.erase(pid);
    });
  }

 private:
  void open(std::vector<Station>& stations) {
    for (Station& station : stations) {
      station.socket = zmq_socket(sockets_, ZMQ_ROUTER);
      require(zmq_bind(station.socket, ref_any_cast<std::string>(station.endpoint).c_str()) == 0);
      tell(std::make_shared<EndpointEvent>(EndpointEvent{{FrameworkEvent::endpoint},
                                                         EndpointEvent::bound,
                                                         station.endpoint,
                                                         station.publisherID,
                                                         station.modificationCount}));
      tellOfServices(station, ServicesEvent::allPublished);
    }
  }

  void close(const std::vector<Station>& stations) {
    for (const Station& station : stations) {
      require(zmq_close(station.socket) == 0);
      tellOfServices(station, ServicesEvent::allUnpublished);
    }
  }

  void tellOfServices(const Station& station, std::uint32_t change) {
    tell(std::make_shared<ServicesEvent>(
        ServicesEvent{{FrameworkEvent::services}, change, station.publisherID, station.modificationCount}));
  }

  // Each event needs a new look-up, because listeners come and go.
  void tell(const std::shared_ptr<const FrameworkEvent>& event) {
    for (const auto& reference : context_.GetServiceReferences<FrameworkListener>()) {
      try {
        if (const auto listener = context_.GetService(reference)) {
          listener->handleEvent(event);
        }
      } catch (const std::invalid_argument&) {
        // It was unregistered meanwhile.
      }
    }
  }

  // Constant after construction:
  void* const sockets_;

  // Used by the executor's tasks only:
  BundleContext context_;
  std::map<std::string, std::vector<Station>> stations_;

  // Last, since its tasks use all others.
  SerialExecutor executor_;
};

}  // namespace

LeastFramework::LeastFramework(BundleContext context)
    : registration_(context.RegisterService<ManagedServiceFactory>(
          std::make_shared<Factory>(context),
          {{"service.pid", Any(std::string(agent::spf::frameworksetup::frameworkFactoryPID))}})) {}

LeastFramework::~LeastFramework() {
  registration_.Unregister();
}

}  // namespace spf::benchmarks
