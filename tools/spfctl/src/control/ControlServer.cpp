#include "control/ControlServer.hpp"

#include <utility>

#include "control/ClientAcceptor.hpp"

namespace spfctl {

ControlServer::ControlServer(const ControlFolder& folder, const std::string& host)
    : folder_(folder), host_(host), lock_(std::make_unique<HostLock>(folder, host)) {}

ControlServer::~ControlServer() {
  if (acceptor_) {
    acceptor_->stop();
  }
  lock_.reset();
}

void ControlServer::start(Handler handler) {
  acceptor_ = std::make_unique<ClientAcceptor>(folder_, host_, std::move(handler));
}

void ControlServer::stop() {
  if (acceptor_) {
    acceptor_->stop();
  }
}

}  // namespace spfctl
