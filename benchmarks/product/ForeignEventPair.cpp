#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>
#include <cppmicroservices/AnyMap.h>

#include "Pair.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::benchmarks {

using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using List = std::vector<Any>;

namespace {

std::string publisherID(int number) {
  return "example.publisher." + std::to_string(10000 + number);
}

std::shared_ptr<FrameworkSetupListener> listenerOf(int publishers) {
  const AnyMap config{{"endpointsToBindTo", Any(List())}, {"endpointsToConnectTo", Any(List())}};
  List list;
  for (int number = 0; number < publishers; ++number) {
    list.emplace_back(AnyMap{{"uniqueID", Any(publisherID(number))},
                             {"name", Any(std::string("rpcservicepublisher"))},
                             {"config", Any(config)}});
  }
  return std::make_shared<FrameworkSetupListener>(
      [] {}, AnyMap{{"modificationCount", Any(1)}, {"servicePublisherConfigurations", Any(list)}});
}

// Of the same revision, of another configuration's publisher.
std::shared_ptr<const FrameworkEvent> eventFor(int publishers) {
  return std::make_shared<ServicesEvent>(
      ServicesEvent{{FrameworkEvent::services}, ServicesEvent::allPublished, publisherID(publishers), 1});
}

Side work(int size) {
  const auto listener = listenerOf(size);
  return {[](int) {},
          [event = eventFor(size), receiver = std::shared_ptr<FrameworkListener>(listener)](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              receiver->handleEvent(event);
            }
          },
          [listener] { return Any(listener->waitForAllServices({}, publisherID(0))); }};
}

struct BareLookUps {
  std::unordered_map<std::string, int> publishers;
  std::shared_ptr<const FrameworkEvent> event;
  bool found = false;

  [[gnu::flatten]] void run(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      auto copy = event;
      benchmark::DoNotOptimize(copy);
      const auto& id = static_cast<const ServicesEvent&>(*copy).servicePublisherID;
      found = publishers.find(id) != publishers.end();
    }
  }
};

// One look-up and one copy of the event's pointer, without a call.
Side floor(int size) {
  auto data = std::make_shared<BareLookUps>();
  for (int number = 0; number < size; ++number) {
    data->publishers.emplace(publisherID(number), number);
  }
  data->event = eventFor(size);
  return {[](int) {}, [data](int rounds) { data->run(rounds); }, [data] { return Any(data->found); }};
}

// No receiver of events does less: a virtual call, a look at the kind and at the revision, and the look-up.
class LeastReceiver : public FrameworkListener {
 public:
  explicit LeastReceiver(int publishers) {
    for (int number = 0; number < publishers; ++number) {
      publishers_.emplace(publisherID(number), number);
    }
  }

  [[gnu::flatten]] void handleEvent(std::shared_ptr<const FrameworkEvent> event) override {
    const auto& services = static_cast<const ServicesEvent&>(*event);
    if (event->kind == FrameworkEvent::services && services.modificationCount >= revision_) {
      isFound = publishers_.find(services.servicePublisherID) != publishers_.end();
    }
  }

  bool isFound = false;

 private:
  std::unordered_map<std::string, int> publishers_;
  std::uint32_t revision_ = 1;
};

Side leastReceiver(int size) {
  const auto least = std::make_shared<LeastReceiver>(size);
  return {[](int) {},
          [event = eventFor(size), receiver = std::shared_ptr<FrameworkListener>(least)](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              receiver->handleEvent(event);
            }
          },
          [least] { return Any(least->isFound); }};
}

int roundsFor(int) {
  return 100000;
}

}  // namespace

Pair foreignEvent() {
  return {"foreign-event", {1, 10, 100}, &roundsFor, &work, &floor};
}

Pair foreignEventAtLeast() {
  return {"foreign-event-at-least", {1, 10, 100}, &roundsFor, &leastReceiver, &floor};
}

}  // namespace spf::benchmarks
