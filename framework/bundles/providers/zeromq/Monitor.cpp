#include "Monitor.hpp"

#include <cstring>

namespace spf::zeromq {

Monitor::Monitor(zmq::context_t& context, zmq::socket_t& observed, const std::string& name, int events)
    : observed_(observed), receiver_(context, zmq::socket_type::pair) {
  const std::string address = "inproc://monitor-" + name;
  if (zmq_socket_monitor(observed_.handle(), address.c_str(), events) != 0) {
    throw zmq::error_t();
  }
  receiver_.set(zmq::sockopt::linger, 0);
  receiver_.connect(address);
}

Monitor::~Monitor() {
  zmq_socket_monitor(observed_.handle(), nullptr, 0);
}

std::optional<std::uint16_t> Monitor::next() {
  zmq::message_t head;
  if (!receiver_.recv(head, zmq::recv_flags::dontwait)) {
    return std::nullopt;
  }
  zmq::message_t address;
  if (head.more() && !receiver_.recv(address, zmq::recv_flags::none)) {
    return std::nullopt;
  }
  std::uint16_t event = 0;
  std::memcpy(&event, head.data(), sizeof(event));
  return event;
}

}  // namespace spf::zeromq
