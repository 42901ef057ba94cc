#include "SocketLoop.hpp"

#include <algorithm>
#include <exception>
#include <utility>

namespace spf::zeromq {

namespace {

template <class Endpoints>
void eraseDone(Endpoints& endpoints) {
  endpoints.remove_if([](const auto& endpoint) { return endpoint->isDone(); });
}

}  // namespace

SocketLoop::SocketLoop() : thread_([this] { run(); }) {}

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
}

void SocketLoop::add(std::unique_ptr<ConnectedEndpoint> endpoint) {
  connected_.push_back(std::move(endpoint));
}

void SocketLoop::close(EndpointID id) {
  for (Endpoint* endpoint : endpoints()) {
    if (endpoint->id() == id) {
      endpoint->close();
    }
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
  while (!isAtItsEnd()) {
    try {
      runOnce();
    } catch (...) {
      // Out of memory, or a signal during the poll: what was not done is tried again.
    }
  }
  // Here, and not when the last user of a stopped transport lets go of it: the library's own end
  // must not meet the beginning of a transport that is started meanwhile.
  context_.close();
}

bool SocketLoop::isAtItsEnd() const {
  return ending_ && bound_.empty() && connected_.empty();
}

void SocketLoop::runOnce() {
  waker_.clear();
  while (const Task task = nextTask()) {
    task(*this);
    openWaiting();
  }
  if (ending_) {
    closeAll();
  }
  openWaiting();
  removeDone();
  if (!isAtItsEnd()) {
    poll();
    removeDone();
  }
}

SocketLoop::Task SocketLoop::nextTask() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (tasks_.empty()) {
    ending_ = stopping_;
    return nullptr;
  }
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  return task;
}

void SocketLoop::openWaiting() {
  for (const auto& endpoint : connected_) {
    if (endpoint->isWaiting()) {
      endpoint->open(context_);
    }
  }
  const auto now = Endpoint::Clock::now();
  for (const auto& endpoint : bound_) {
    if (endpoint->isWaiting() && mayBind(*endpoint, now)) {
      endpoint->open(context_);
    }
  }
}

bool SocketLoop::mayBind(Endpoint& endpoint, Endpoint::Clock::time_point now) const {
  const auto holder = std::find_if(bound_.begin(), bound_.end(),
                                   [&](const auto& other) { return other->holds(endpoint.description().address); });
  if (holder == bound_.end()) {
    return true;
  }
  return !(*holder)->isClosing() && !endpoint.hasPatience(now);
}

void SocketLoop::poll() {
  const auto polled = endpoints();
  std::vector<zmq::pollitem_t> items{{nullptr, waker_.descriptor(), ZMQ_POLLIN, 0}};
  // An entry without a socket would be one for the standard input: those without are left out.
  std::vector<Endpoint*> owners;
  for (Endpoint* endpoint : polled) {
    if (endpoint->monitorHandle() != nullptr && endpoint->socketHandle() != nullptr) {
      items.push_back({endpoint->monitorHandle(), 0, ZMQ_POLLIN, 0});
      items.push_back({endpoint->socketHandle(), 0, ZMQ_POLLIN, 0});
      owners.push_back(endpoint);
    }
  }
  zmq::poll(items, std::chrono::milliseconds(pollTimeout()));
  for (std::size_t i = 0; i < owners.size(); ++i) {
    serve(*owners[i], items[1 + 2 * i].revents != 0, items[2 + 2 * i].revents != 0);
  }
  const auto now = Endpoint::Clock::now();
  for (Endpoint* endpoint : polled) {
    endpoint->onTime(now);
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
  for (Endpoint* endpoint : endpoints()) {
    endpoint->close();
  }
}

long SocketLoop::pollTimeout() const {
  std::optional<Endpoint::Clock::time_point> earliest;
  for (const Endpoint* endpoint : endpoints()) {
    const auto deadline = endpoint->deadline();
    if (deadline && (!earliest || *deadline < *earliest)) {
      earliest = deadline;
    }
  }
  if (!earliest) {
    return -1;
  }
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*earliest - Endpoint::Clock::now());
  return std::max<long>(0, left.count());
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

std::vector<Endpoint*> SocketLoop::endpoints() const {
  std::vector<Endpoint*> all;
  all.reserve(bound_.size() + connected_.size());
  for (const auto& endpoint : bound_) {
    all.push_back(endpoint.get());
  }
  for (const auto& endpoint : connected_) {
    all.push_back(endpoint.get());
  }
  return all;
}

}  // namespace spf::zeromq
