#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "Pair.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::benchmarks {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using List = std::vector<Any>;

namespace {

// Every round takes one endpoint off the list, a quarter of them in all.
int roundsFor(int size) {
  return size / 4;
}

std::vector<std::string> textsOf(int size) {
  std::vector<std::string> texts;
  for (int number = 0; number < size; ++number) {
    texts.push_back("tcp://192.168.7.1:" + std::to_string(10000 + number));
  }
  return texts;
}

// The same on both sides and in every run, from everywhere in the list.
std::vector<std::string> announcedTextsOf(int size) {
  auto texts = textsOf(size);
  std::shuffle(texts.begin(), texts.end(), std::mt19937(17));
  texts.resize(static_cast<std::size_t>(roundsFor(size)));
  return texts;
}

List asEndpoints(const std::vector<std::string>& texts) {
  return List(texts.begin(), texts.end());
}

std::unique_ptr<FrameworkSetupListener> listenerOf(const List& endpoints) {
  const AnyMap config{{"endpointsToBindTo", Any(endpoints)}, {"endpointsToConnectTo", Any(List())}};
  const AnyMap publisher{
      {"uniqueID", Any(std::string("p"))}, {"name", Any(std::string("rpcservicepublisher"))}, {"config", Any(config)}};
  const AnyMap properties{{"modificationCount", Any(1)}, {"servicePublisherConfigurations", Any(List{Any(publisher)})}};
  return std::make_unique<FrameworkSetupListener>([] {}, properties);
}

Side work(int size) {
  struct Data {
    List endpoints;
    std::vector<std::shared_ptr<const FrameworkEvent>> events;
    std::size_t next = 0;
    std::unique_ptr<FrameworkSetupListener> listener;
  };
  auto data = std::make_shared<Data>();
  data->endpoints = asEndpoints(textsOf(size));
  for (const auto& text : announcedTextsOf(size)) {
    data->events.push_back(std::make_shared<EndpointEvent>(
        EndpointEvent{{FrameworkEvent::endpoint}, EndpointEvent::bound, Any(text), "p", 1}));
  }
  return {[data](int) {
            data->listener = listenerOf(data->endpoints);
            data->next = 0;
          },
          [data](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              data->listener->handleEvent(data->events[data->next++]);
            }
          },
          [data] { return Any(data->listener->listOutstandingEndpoints("p").second); }};
}

// remove_if over a vector of the same texts.
Side floor(int size) {
  struct Data {
    std::vector<std::string> endpoints;
    std::vector<std::string> announced;
    std::size_t next = 0;
    std::vector<std::string> outstanding;
  };
  auto data = std::make_shared<Data>();
  data->endpoints = textsOf(size);
  data->announced = announcedTextsOf(size);
  return {[data](int) {
            data->outstanding = data->endpoints;
            data->next = 0;
          },
          [data](int rounds) {
            auto& outstanding = data->outstanding;
            for (int round = 0; round < rounds; ++round) {
              const auto& text = data->announced[data->next++];
              outstanding.erase(std::remove_if(outstanding.begin(), outstanding.end(),
                                               [&](const std::string& candidate) { return candidate == text; }),
                                outstanding.end());
            }
          },
          [data] { return Any(asEndpoints(data->outstanding)); }};
}

}  // namespace

Pair endpointEvent() {
  return {"endpoint-event", {100, 2000, 20000}, &roundsFor, &work, &floor};
}

}  // namespace spf::benchmarks
