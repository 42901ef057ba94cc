#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "Identity.hpp"
#include "SocketLoop.hpp"
#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"

namespace spf::zeromq {

/// The transport service on ZeroMQ: posts every operation, health checks too, to the socket loop.
class ZeroMqTransport : public agent::spf::frameworkinterfaces::Transport,
                        public agent::spf::frameworkinterfaces::HealthCheck {
 public:
  /// Starts the socket loop.
  /// \param identity  null: no connection is encrypted
  explicit ZeroMqTransport(std::unique_ptr<Identity> identity = nullptr);

  EndpointID bind(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) override;
  EndpointID connect(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) override;
  void close(EndpointID endpoint) override;
  std::string ask(const std::string& owner, const std::string& name, const std::string& request,
                  std::chrono::milliseconds timeout) override;

  void check(std::function<void()> done) override;

  /// Closes every endpoint and refuses new ones. Blocks for a few seconds at most.
  void stop() { loop_.stop(); }

 private:
  void post(SocketLoop::Task task);

  template <class Kind>
  EndpointID open(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener);

  std::atomic<EndpointID> lastID_{0};
  SocketLoop loop_;
};

}  // namespace spf::zeromq
