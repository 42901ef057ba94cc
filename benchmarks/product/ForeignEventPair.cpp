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

// One look-up and one copy of the event's pointer.
Side floor(int size) {
  struct Data {
    std::unordered_map<std::string, int> publishers;
    std::shared_ptr<const FrameworkEvent> event;
    bool found = false;
  };
  auto data = std::make_shared<Data>();
  for (int number = 0; number < size; ++number) {
    data->publishers.emplace(publisherID(number), number);
  }
  data->event = eventFor(size);
  return {[](int) {},
          [data](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              auto copy = data->event;
              benchmark::DoNotOptimize(copy);
              const auto& id = static_cast<const ServicesEvent&>(*copy).servicePublisherID;
              data->found = data->publishers.find(id) != data->publishers.end();
            }
          },
          [data] { return Any(data->found); }};
}

}  // namespace

Pair foreignEvent() {
  return {"foreign-event", {1, 10, 100}, [](int) { return 100000; }, &work, &floor};
}

}  // namespace spf::benchmarks
