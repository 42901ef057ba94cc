#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <zmq.h>

#include "BareHost.hpp"
#include "BundleTree.hpp"
#include "LeastFramework.hpp"
#include "Pair.hpp"
#include "RunningHost.hpp"
#include "Stations.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

using Prepare = std::function<void(int rounds)>;

Side livingSide(int publishers, Prepare prepare) {
  const auto number = std::make_shared<int>(0);
  const auto lived = std::make_shared<int>(0);
  return {std::move(prepare),
          [=](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              live(Stations((*number)++, publishers));
              *lived = publishers;
            }
          },
          [lived] { return Any(*lived); }};
}

Side work(int publishers) {
  startHost();
  return livingSide(publishers, [](int) {});
}

// The library in a host without bundles, with the least framework.
Side leastWork(int publishers) {
  struct Data {
    std::unique_ptr<BareHost> host;
    std::unique_ptr<LeastFramework> framework;
  };
  const auto data = std::make_shared<Data>();
  return livingSide(publishers, [data](int) {
    if (!data->host) {
      data->host = std::make_unique<BareHost>();
      data->framework = std::make_unique<LeastFramework>(hostContext());
    }
  });
}

/// Lets another thread continue, once for each call.
class HandOver {
 public:
  void give() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++given_;
    }
    changed_.notify_one();
  }

  void take() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return given_ > 0; });
    --given_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  int given_ = 0;
};

void require(bool succeeded) {
  if (!succeeded) {
    throw std::runtime_error("libzmq refuses");
  }
}

/// The steps of a configuration's life, made by hand: the caller inspects the bundle directories and encodes, a
/// second thread stands for Configuration Admin and copies the properties, since it keeps what it delivers, and a third
/// one opens and closes a socket for each publisher and reports. Threads hand over as in the diagrams of publishing and
/// withdrawing.
class LifeByHand {
 public:
  LifeByHand() : context_(zmq_ctx_new()), keeping_([this] { keep(); }), opening_([this] { open(); }) {
    zmq_ctx_set(context_, ZMQ_MAX_SOCKETS, maximalSockets);
  }

  ~LifeByHand() {
    ends_ = true;
    toKeeper_.give();
    keeping_.join();
    opening_.join();
    zmq_ctx_term(context_);
  }

  LifeByHand(const LifeByHand&) = delete;
  LifeByHand& operator=(const LifeByHand&) = delete;

  /// Returns the number of publishers that lived.
  int live(const Stations& stations) {
    stations_ = &stations;
    tree_.inspectChain();
    tree_.inspectDirectories();
    updated_ = std::make_unique<AnyMap>(stations.properties());
    toKeeper_.give();
    for (std::size_t publisher = 0; publisher < stations.publisherIDs().size(); ++publisher) {
      bound_.take();
      published_.take();
    }
    toKeeper_.give();
    int lived = 0;
    for (std::size_t publisher = 0; publisher < stations.publisherIDs().size(); ++publisher) {
      unpublished_.take();
      ++lived;
    }
    return lived;
  }

 private:
  static constexpr int maximalSockets = 4096;

  void keep() {
    for (;;) {
      toKeeper_.take();  // updated
      if (ends_) {
        return toOpener_.give();
      }
      delivered_ = std::make_unique<AnyMap>(*updated_);
      toOpener_.give();
      toKeeper_.take();  // removed
      updated_.reset();
      toOpener_.give();
    }
  }

  void open() {
    for (;;) {
      toOpener_.take();
      if (ends_) {
        return;
      }
      std::vector<void*> sockets;
      for (const auto& id : stations_->publisherIDs()) {
        sockets.push_back(zmq_socket(context_, ZMQ_ROUTER));
        require(zmq_bind(sockets.back(), stations_->endpointOf(id).c_str()) == 0);
        bound_.give();
        published_.give();
      }
      toOpener_.take();
      delivered_.reset();
      for (void* socket : sockets) {
        require(zmq_close(socket) == 0);
        unpublished_.give();
      }
    }
  }

  // Constant after construction:
  const BundleTree tree_;
  void* const context_;

  // Handed over from thread to thread:
  bool ends_ = false;
  const Stations* stations_ = nullptr;
  std::unique_ptr<AnyMap> updated_;
  std::unique_ptr<AnyMap> delivered_;

  // Synchronised by themselves:
  HandOver toKeeper_;
  HandOver toOpener_;
  HandOver bound_;
  HandOver published_;
  HandOver unpublished_;

  // Last, since they use all others:
  std::thread keeping_;
  std::thread opening_;
};

Side floor(int publishers) {
  startHost();
  const auto life = std::make_shared<LifeByHand>();
  const auto number = std::make_shared<int>(0);
  const auto lived = std::make_shared<int>(0);
  return {[](int) {},
          [=](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              *lived = life->live(Stations((*number)++, publishers));
            }
          },
          [lived] { return Any(*lived); }};
}

int rounds(int size) {
  return size < 100 ? 1000 / size : 20;
}

}  // namespace

Pair life() {
  return {"life", {1, 10, 100}, &rounds, &work, &floor};
}

Pair lifeAtLeast() {
  return {"life-at-least", {1, 10, 100}, &rounds, &leastWork, &floor};
}

}  // namespace spf::benchmarks
