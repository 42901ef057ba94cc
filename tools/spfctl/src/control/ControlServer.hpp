#pragma once

#include <functional>
#include <memory>

#include <nlohmann/json_fwd.hpp>

#include "control/ControlFolder.hpp"
#include "control/HostLock.hpp"
#include "control/Reply.hpp"

namespace spfctl {

class ClientAcceptor;

/// A host's control socket. One thread serves all clients; those that hang, flood or send garbage delay nobody.
///
/// Each line of a client is a request, a JSON object; it gets its answer before the next one is read. Only the user of
/// this process and root may connect.
class ControlServer {
 public:
  /// Handles a request on the server's thread; must not block. What it throws becomes the answer:
  /// std::invalid_argument is for requests that cannot be understood.
  using Handler = std::function<void(const nlohmann::json& request, const std::shared_ptr<Reply>& reply)>;

  /// Takes the name for this process.
  /// \throws ControlError if another process has it, or the folder cannot be used
  ControlServer(const ControlFolder& folder, const std::string& host);

  /// Stops, then releases the name, and then closes the connections, so that clients may wait for the end of a host.
  ~ControlServer();

  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  /// Opens the socket and starts the thread.
  /// \throws ControlError if the socket cannot be opened
  void start(Handler handler);

  /// Accepts nobody any more and calls the handler and all sources for the last time. Blocks until what was answered is
  /// sent, for a short time at most. Connections stay open.
  void stop();

 private:
  const ControlFolder folder_;
  const std::string host_;
  std::unique_ptr<HostLock> lock_;
  std::unique_ptr<ClientAcceptor> acceptor_;
};

}  // namespace spfctl
