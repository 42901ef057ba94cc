#include "SocketLoop.hpp"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>
#include <vector>

#include "agent/spf/frameworksupport/startThread.hpp"
#include "descriptorLimits.hpp"
#include "retryInterrupted.hpp"

namespace spf::zeromq {

namespace {

constexpr int ioThreads = 1;

/// How long a stop waits until the sockets are closed.
constexpr std::chrono::seconds stopTime{2};

template <class Endpoints>
void eraseDone(Endpoints& endpoints) {
  endpoints.remove_if([](const auto& endpoint) { return endpoint->isDone(); });
}

}  // namespace

SocketLoop::SocketLoop(std::unique_ptr<Identity> identity)
    : identity_(std::move(identity)), context_(ioThreads, maxSockets()), resolver_(std::in_place) {
  if (identity_) {
    shared_.key = &identity_->key;
    shared_.trusted = identity_->trust->keys();
    appliedKeys_ = shared_.trusted;
    zapHandler_.emplace(context_, [this] { return trustWatch_->request(); });
    trustWatch_.emplace(identity_->trust, [this](auto request, const auto& keys) { onRefresh(request, keys); });
  }
  thread_ = agent::spf::frameworksupport::startThread([this] { run(); });
}

SocketLoop::~SocketLoop() {
  stop();
}

bool SocketLoop::post(Task task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (stopping_) {
    return false;
  }
  tasks_.push_back(std::move(task));
  waker_.wake();
  return true;
}

void SocketLoop::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  waker_.wake();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void SocketLoop::add(std::unique_ptr<BoundEndpoint> endpoint) {
  bound_.push_back(std::move(endpoint));
  hasAdded_ = true;
}

void SocketLoop::add(std::unique_ptr<ConnectedEndpoint> endpoint) {
  connected_.push_back(std::move(endpoint));
  hasAdded_ = true;
}

void SocketLoop::close(EndpointID id) {
  if (Endpoint* endpoint = find(id)) {
    endpoint->close();
  }
}

void SocketLoop::ask(const std::string& owner, const std::string& name, const std::string& request,
                     const std::shared_ptr<Answer>& answer) {
  ConnectedEndpoint* endpoint = findOpen(owner, name);
  if (endpoint == nullptr) {
    answer->fail("not connected");
    return;
  }
  endpoint->ask(request, answer);
}

void SocketLoop::forget(const std::shared_ptr<Answer>& answer) {
  for (const auto& endpoint : connected_) {
    endpoint->forget(answer);
  }
}

void SocketLoop::run() noexcept {
  while (!isFinished()) {
    try {
      runOnce();
    } catch (...) {
      // Out of memory: the next round tries again.
    }
  }
  resolver_.reset();
  trustWatch_.reset();
  zapHandler_.reset();
  // Not in the destructor, which the last user of a stopped transport may call at any time: closing ZeroMQ must not
  // overlap with the start of the next transport.
  context_.close();
}

bool SocketLoop::isFinished() const {
  return end_ && bound_.empty() && connected_.empty();
}

void SocketLoop::runOnce() {
  waker_.clear();
  runTasks();
  if (end_) {
    closeAll();
  }
  advance();
  removeDone();
  if (!isFinished()) {
    poll();
    removeDone();
  }
}

void SocketLoop::runTasks() {
  std::unique_lock<std::mutex> lock(mutex_);
  // Tasks that are posted meanwhile wait for the next round.
  for (auto count = tasks_.size(); count > 0; --count) {
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task(*this);
    task = nullptr;  // destroys its captures outside of the lock
    if (hasAdded_) {
      advance();  // the next task may use the endpoint
    }
    lock.lock();
  }
  if (stopping_ && tasks_.empty() && !end_) {
    end_ = Endpoint::Clock::now() + stopTime;
  }
}

void SocketLoop::advance() {
  hasAdded_ = false;
  forEachEndpoint([this](Endpoint& endpoint) {
    if (endpoint.phase() == Endpoint::Phase::fresh) {
      endpoint.start(shared_);
    }
  });
  const auto now = Endpoint::Clock::now();
  lookUpHosts(now);
  judgeHandshakes();
  openBound(now);
  openConnected(now);
}

void SocketLoop::lookUpHosts(Endpoint::Clock::time_point now) {
  forEachEndpoint([&](Endpoint& endpoint) {
    if (!endpoint.isLookUpDue(now)) {
      return;
    }
    try {
      resolver_->lookUp(endpoint.hostToLookUp(),
                        [this, id = endpoint.id()](const ResolvedHost& resolved) { onLookUp(id, resolved); });
    } catch (const std::system_error& error) {
      endpoint.onLookUp({{}, error.what()});
      return;
    }
    // After the call: if it throws, the next round repeats the request.
    endpoint.onLookUpStarted();
  });
}

void SocketLoop::onLookUp(EndpointID id, const ResolvedHost& resolved) {
  post([id, resolved](SocketLoop& loop) {
    if (Endpoint* endpoint = loop.find(id)) {
      endpoint->onLookUp(resolved);
    }
  });
}

void SocketLoop::openBound(Endpoint::Clock::time_point now) {
  for (const auto& endpoint : bound_) {
    if (endpoint->phase() == Endpoint::Phase::waiting && endpoint->isDue(now) && mayBind(*endpoint, now)) {
      endpoint->open(shared_);
    }
  }
}

void SocketLoop::onRefresh(std::uint64_t request,
                           const std::shared_ptr<const agent::spf::security::TrustedKeys>& keys) {
  post([request, keys](SocketLoop& loop) {
    loop.refreshed_ = request;
    loop.shared_.trusted = keys;
  });
}

void SocketLoop::judgeHandshakes() {
  if (!zapHandler_) {
    return;
  }
  if (appliedKeys_ != shared_.trusted) {
    forEachEndpoint([this](Endpoint& endpoint) { endpoint.onTrust(shared_); });
    appliedKeys_ = shared_.trusted;
  }
  zapHandler_->answer(refreshed_, *shared_.trusted, [this](const Judgement& judgement) { return admit(judgement); });
}

bool SocketLoop::admit(const Judgement& judgement) {
  BoundEndpoint* endpoint = findBound(judgement.domain);
  return endpoint != nullptr && endpoint->admit(*judgement.key, judgement.user);
}

BoundEndpoint* SocketLoop::findBound(const std::string& id) const {
  const auto found = std::find_if(bound_.begin(), bound_.end(),
                                  [&](const auto& endpoint) { return std::to_string(endpoint->id()) == id; });
  return found != bound_.end() ? found->get() : nullptr;
}

void SocketLoop::openConnected(Endpoint::Clock::time_point now) {
  for (const auto& endpoint : connected_) {
    endpoint->checkPeer(shared_);
    if (endpoint->phase() == Endpoint::Phase::waiting && endpoint->mayOpen(shared_, now)) {
      endpoint->open(shared_);
    }
  }
}

bool SocketLoop::mayBind(BoundEndpoint& endpoint, Endpoint::Clock::time_point now) const {
  return std::all_of(bound_.begin(), bound_.end(), [&](const auto& other) {
    return !other->isInTheWayOf(endpoint) || endpoint.mayIgnore(*other, now);
  });
}

void SocketLoop::poll() {
  std::vector<zmq::pollitem_t> items{{nullptr, waker_.descriptor(), ZMQ_POLLIN, 0}};
  const auto add = [&](void* socket, int descriptor, short events) {
    // An entry with neither of them would stand for the standard input.
    if (socket == nullptr && descriptor < 0) {
      return std::size_t{0};
    }
    items.push_back({socket, descriptor, events, 0});
    return items.size() - 1;
  };
  struct Polled {
    Endpoint& endpoint;
    std::size_t monitor, socket, probe;  ///< positions in the items; 0 if there is none
  };
  std::vector<Polled> polled;
  polled.reserve(bound_.size() + connected_.size());
  forEachEndpoint([&](Endpoint& endpoint) {
    const auto monitor = add(endpoint.monitorHandle(), -1, ZMQ_POLLIN);
    const auto socket = add(endpoint.socketHandle(), -1, ZMQ_POLLIN);
    const auto probe = endpoint.probeEvent();
    polled.push_back(
        {endpoint, monitor, socket, add(nullptr, probe.descriptor, probe.isInput ? ZMQ_POLLIN : ZMQ_POLLOUT)});
  });
  const auto zap = add(zapHandler_ ? zapHandler_->handle() : nullptr, -1, ZMQ_POLLIN);
  retryInterrupted([&] { return zmq::poll(items, pollTimeout()); });
  const auto isReady = [&](std::size_t position) { return position != 0 && items[position].revents != 0; };
  if (isReady(zap)) {
    zapHandler_->receive();
  }
  const auto now = Endpoint::Clock::now();
  for (const auto& [endpoint, monitor, socket, probe] : polled) {
    serve(endpoint, isReady(monitor), isReady(socket));
    endpoint.onProbe(isReady(probe), now);
    endpoint.onTime(now);
  }
}

void SocketLoop::serve(Endpoint& endpoint, bool monitorReadable, bool socketReadable) {
  try {
    if (socketReadable) {
      endpoint.onMessages();
    }
    if (monitorReadable) {
      endpoint.onMonitor();
    }
  } catch (...) {
    endpoint.abandon(std::current_exception());
  }
}

void SocketLoop::removeDone() {
  eraseDone(bound_);
  eraseDone(connected_);
}

void SocketLoop::closeAll() {
  const bool isLate = *end_ <= Endpoint::Clock::now();
  forEachEndpoint([isLate](Endpoint& endpoint) {
    endpoint.close();
    if (isLate) {
      endpoint.forceClose();
    }
  });
}

std::chrono::milliseconds SocketLoop::pollTimeout() const {
  auto earliest = end_;
  forEachEndpoint([&earliest](const Endpoint& endpoint) {
    const auto deadline = endpoint.deadline();
    if (deadline && (!earliest || *deadline < *earliest)) {
      earliest = deadline;
    }
  });
  if (!earliest) {
    return std::chrono::milliseconds(-1);
  }
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*earliest - Endpoint::Clock::now());
  return std::max(left, std::chrono::milliseconds::zero());
}

Endpoint* SocketLoop::find(EndpointID id) const {
  const auto hasID = [id](const auto& endpoint) { return endpoint->id() == id; };
  if (const auto bound = std::find_if(bound_.begin(), bound_.end(), hasID); bound != bound_.end()) {
    return bound->get();
  }
  const auto connected = std::find_if(connected_.begin(), connected_.end(), hasID);
  return connected != connected_.end() ? connected->get() : nullptr;
}

ConnectedEndpoint* SocketLoop::findOpen(const std::string& owner, const std::string& name) {
  for (const auto& endpoint : connected_) {
    const auto& description = endpoint->description();
    if (endpoint->isOpen() && description.owner == owner && description.name == name) {
      return endpoint.get();
    }
  }
  return nullptr;
}

template <class Use>
void SocketLoop::forEachEndpoint(Use use) const {
  for (const auto& endpoint : bound_) {
    use(*endpoint);
  }
  for (const auto& endpoint : connected_) {
    use(*endpoint);
  }
}

}  // namespace spf::zeromq
