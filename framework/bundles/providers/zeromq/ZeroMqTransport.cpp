#include "ZeroMqTransport.hpp"

#include <stdexcept>
#include <utility>

namespace spf::zeromq {

ZeroMqTransport::ZeroMqTransport(std::unique_ptr<Identity> identity) : loop_(std::move(identity)) {}

EndpointID ZeroMqTransport::bind(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) {
  return open<BoundEndpoint>(endpoint, std::move(listener));
}

EndpointID ZeroMqTransport::connect(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) {
  return open<ConnectedEndpoint>(endpoint, std::move(listener));
}

void ZeroMqTransport::close(EndpointID endpoint) {
  loop_.post([endpoint](SocketLoop& loop) { loop.close(endpoint); });
}

std::string ZeroMqTransport::ask(const std::string& owner, const std::string& name, const std::string& request,
                                 std::chrono::milliseconds timeout) {
  const auto answer = std::make_shared<Answer>();
  try {
    post([=](SocketLoop& loop) { loop.ask(owner, name, request, answer); });
    return answer->waitFor(timeout);
  } catch (const std::runtime_error& error) {
    loop_.post([answer](SocketLoop& loop) { loop.forget(answer); });
    throw std::runtime_error("publisher '" + owner + "', endpoint '" + name + "': " + error.what());
  }
}

void ZeroMqTransport::check(std::function<void()> done) {
  loop_.post([done = std::move(done)](SocketLoop&) { done(); });
}

void ZeroMqTransport::post(SocketLoop::Task task) {
  if (!loop_.post(std::move(task))) {
    throw std::runtime_error("the ZeroMQ transport was stopped");
  }
}

template <class Kind>
EndpointID ZeroMqTransport::open(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) {
  const EndpointID id = ++lastID_;
  // Shared, because the loop's tasks have to be copyable.
  const auto made = std::make_shared<std::unique_ptr<Kind>>(std::make_unique<Kind>(id, endpoint, std::move(listener)));
  post([made](SocketLoop& loop) { loop.add(std::move(*made)); });
  return id;
}

}  // namespace spf::zeromq
