#pragma once

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <set>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include "control/ClientConnection.hpp"
#include "control/ControlServer.hpp"
#include "control/Mailbox.hpp"

// Includes Asio, which is slow to compile: for the server only.
namespace spfctl {

/// The listening socket, the clients, and the thread that serves them.
class ClientAcceptor {
 public:
  /// \throws ControlError if the socket cannot be opened
  ClientAcceptor(const ControlFolder& folder, const std::string& host, ControlServer::Handler handler);

  /// Ends the thread and all connections.
  ~ClientAcceptor();

  ClientAcceptor(const ClientAcceptor&) = delete;
  ClientAcceptor& operator=(const ClientAcceptor&) = delete;

  void stop();

 private:
  void listen(const std::filesystem::path& temporary);
  void serve();
  void accept();
  void onAccept(const boost::system::error_code& error);
  void admit(ClientConnection::Socket client);
  void endOneThatSendsNothing();
  void handle(const std::string& line, const std::shared_ptr<Reply>& reply) const;
  template <class Action>
  void forEachClient(Action action);
  void stopAccepting();
  void checkForIdleness();

  const std::filesystem::path path_;
  ControlServer::Handler handler_;
  boost::asio::io_context context_{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{context_.get_executor()};
  boost::asio::local::stream_protocol::acceptor acceptor_;
  const std::shared_ptr<Mailbox> mailbox_ = std::make_shared<Mailbox>(context_);
  ClientConnection::Socket next_;
  boost::asio::steady_timer timer_;
  ClientConnection::Owner owner_;
  std::set<std::shared_ptr<ClientConnection>> clients_;
  bool isAwaitingClient_ = false;  ///< a client, or the time to accept again, is waited for
  bool isStopping_ = false;
  bool isIdle_ = false;  ///< `idle_` has its value
  std::promise<void> idle_;
  bool isStopped_ = false;  ///< used by the thread that stops only
  std::thread thread_;
};

}  // namespace spfctl
