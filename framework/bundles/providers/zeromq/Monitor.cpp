#include "Monitor.hpp"

#include <cstring>

#include "messages.hpp"

namespace spf::zeromq {

Monitor::Monitor(zmq::context_t& context, zmq::socket_t& observed, const std::string& name, int events)
    : observed_(observed), receiver_(context, zmq::socket_type::pair) {
  const std::string address = "inproc://monitor/" + name;
  retryInterrupted([&] {
    if (zmq_socket_monitor(observed_.handle(), address.c_str(), events) != 0) {
      throw zmq::error_t();
    }
  });
  receiver_.set(zmq::sockopt::linger, 0);
  // Without a limit: ZeroMQ's own thread would wait for room, and the end of the monitoring for that thread.
  receiver_.set(zmq::sockopt::rcvhwm, 0);
  retryInterrupted([&] { receiver_.connect(address); });
}

Monitor::~Monitor() {
  zmq_socket_monitor(observed_.handle(), nullptr, 0);
}

std::optional<MonitorEvent> Monitor::next(int& budget) {
  const auto frames = receiveMessage(receiver_, budget);
  MonitorEvent event;
  if (!frames || frames->front().size() < sizeof(event.kind) + sizeof(event.value)) {
    return std::nullopt;
  }
  const auto* bytes = static_cast<const char*>(frames->front().data());
  std::memcpy(&event.kind, bytes, sizeof(event.kind));
  std::memcpy(&event.value, bytes + sizeof(event.kind), sizeof(event.value));
  return event;
}

}  // namespace spf::zeromq
