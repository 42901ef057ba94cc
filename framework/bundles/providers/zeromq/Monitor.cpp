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
  retryInterrupted([&] { receiver_.connect(address); });
}

Monitor::~Monitor() {
  zmq_socket_monitor(observed_.handle(), nullptr, 0);
}

std::optional<std::uint16_t> Monitor::next(int& budget) {
  const auto frames = receiveMessage(receiver_, budget);
  std::uint16_t event = 0;
  if (!frames || frames->front().size() < sizeof(event)) {
    return std::nullopt;
  }
  std::memcpy(&event, frames->front().data(), sizeof(event));
  return event;
}

}  // namespace spf::zeromq
