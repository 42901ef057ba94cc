#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "Pair.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::benchmarks {

using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using List = std::vector<Any>;

namespace {

constexpr std::chrono::seconds patience{60};
const std::string publisherID = "p";

/// Waits for the event that completes a publisher.
class ListenerSignal {
 public:
  ListenerSignal() : listener_([] {}, properties()) {}

  void send() { listener_.handleEvent(event()); }
  bool wait() { return listener_.waitForAllServices(patience, publisherID); }

 private:
  static AnyMap properties() {
    const AnyMap config{{"endpointsToBindTo", Any(List())}, {"endpointsToConnectTo", Any(List())}};
    const AnyMap publisher{
        {"uniqueID", Any(publisherID)}, {"name", Any(std::string("rpcservicepublisher"))}, {"config", Any(config)}};
    return {{"modificationCount", Any(1)}, {"servicePublisherConfigurations", Any(List{Any(publisher)})}};
  }

  static const std::shared_ptr<const FrameworkEvent>& event() {
    static const std::shared_ptr<const FrameworkEvent> completing = std::make_shared<ServicesEvent>(
        ServicesEvent{{FrameworkEvent::services}, ServicesEvent::allPublished, publisherID, 1});
    return completing;
  }

  FrameworkSetupListener listener_;
};

/// The least that one thread needs to wait for another with a time-out.
class BareSignal {
 public:
  void send() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      isSent_ = true;
    }
    condition_.notify_all();
  }

  bool wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    return condition_.wait_until(lock, std::chrono::steady_clock::now() + patience, [this] { return isSent_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  bool isSent_ = false;
};

// The two threads wake one another in turn, so that each thread sleeps when its signal comes. This holds on one
// processor too.
template <class Signal>
Side sideOf(int) {
  struct Round {
    Signal there;
    Signal back;
  };
  struct Data {
    std::vector<std::unique_ptr<Round>> rounds;
    bool inTime = true;
  };
  auto data = std::make_shared<Data>();
  return {[data](int rounds) {
            data->rounds.clear();
            for (int round = 0; round < rounds; ++round) {
              data->rounds.push_back(std::make_unique<Round>());
            }
          },
          [data](int rounds) {
            bool inTime = true;
            std::thread other([&] {
              for (int round = 0; round < rounds; ++round) {
                inTime = data->rounds[round]->there.wait() && inTime;
                data->rounds[round]->back.send();
              }
            });
            for (int round = 0; round < rounds; ++round) {
              data->rounds[round]->there.send();
              data->inTime = data->rounds[round]->back.wait() && data->inTime;
            }
            other.join();
            data->inTime = data->inTime && inTime;
          },
          [data] { return Any(data->inTime); }};
}

}  // namespace

Pair handOver() {
  return {"hand-over", {1}, [](int) { return 200; }, &sideOf<ListenerSignal>, &sideOf<BareSignal>};
}

}  // namespace spf::benchmarks
