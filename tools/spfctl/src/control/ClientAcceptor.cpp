#include "control/ClientAcceptor.hpp"

#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
#include <boost/asio/post.hpp>
#include <nlohmann/json.hpp>

#include "agent/spf/frameworksupport/startThread.hpp"
#include "control/ControlError.hpp"
#include "control/answers.hpp"
#include "control/handleLine.hpp"

namespace spfctl {

namespace {

using boost::asio::local::stream_protocol;
using boost::system::error_code;
using nlohmann::json;

// How long answers may take to reach their clients when the host ends.
constexpr std::chrono::seconds farewell{1};

// After an error of accepting, such as too many open files.
constexpr std::chrono::milliseconds retryInterval{100};

bool mayConnect(ClientConnection::Socket& client) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(client.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         (peer.uid == geteuid() || peer.uid == 0);
}

// Without it, a process that a bundle starts would keep clients waiting for the end of the host.
template <class Socket>
void closeOnExec(Socket& socket) {
  fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
}

}  // namespace

ClientAcceptor::ClientAcceptor(const ControlFolder& folder, const std::string& host, ControlServer::Handler handler)
    : path_(folder.socketOf(host)),
      handler_(std::move(handler)),
      acceptor_(context_),
      next_(context_),
      timer_(context_),
      owner_{[this](const std::string& line, const std::shared_ptr<Reply>& reply) { handle(line, reply); },
             [this] { checkForIdleness(); },
             [this](const std::shared_ptr<ClientConnection>& client) {
               clients_.erase(client);
               checkForIdleness();
             }} {
  try {
    listen(folder.path() / ("." + host + ".new"));
  } catch (const boost::system::system_error& error) {
    throw ControlError("control socket '" + path_.native() + "': " + error.code().message());
  }
  try {
    thread_ = agent::spf::frameworksupport::startThread([this] { serve(); });
  } catch (...) {
    unlink(path_.c_str());
    throw;
  }
}

// An exception gets here if there is no memory to accept a client, since a client's own end its connection.
void ClientAcceptor::serve() {
  for (;;) {
    try {
      if (!isAwaitingClient_ && acceptor_.is_open()) {
        accept();
      }
      context_.run();
      return;
    } catch (...) {
      // Tried again.
    }
  }
}

// Appears under its name when it can be connected to, and only then.
void ClientAcceptor::listen(const std::filesystem::path& temporary) {
  unlink(temporary.c_str());
  acceptor_.open();
  closeOnExec(acceptor_);
  acceptor_.bind(stream_protocol::endpoint(temporary.native()));
  acceptor_.listen();
  if (chmod(temporary.c_str(), S_IRUSR | S_IWUSR) != 0 || rename(temporary.c_str(), path_.c_str()) != 0) {
    const error_code error(errno, boost::system::generic_category());
    unlink(temporary.c_str());
    throw boost::system::system_error(error);
  }
}

ClientAcceptor::~ClientAcceptor() {
  boost::asio::post(context_, [this] {
    stopAccepting();
    forEachClient([](ClientConnection& client) { client.end(); });
    context_.stop();
  });
  thread_.join();
  mailbox_->close();
}

// The action may end the client. Needs no memory.
template <class Action>
void ClientAcceptor::forEachClient(Action action) {
  for (auto next = clients_.begin(); next != clients_.end();) {
    const auto client = *next++;
    action(*client);
  }
}

void ClientAcceptor::accept() {
  acceptor_.async_accept(next_, [this](const error_code& error) {
    isAwaitingClient_ = false;
    onAccept(error);
  });
  isAwaitingClient_ = true;
}

void ClientAcceptor::onAccept(const error_code& error) {
  if (!acceptor_.is_open()) {
    return;
  }
  if (!error) {
    auto client = std::exchange(next_, ClientConnection::Socket(context_));
    accept();
    admit(std::move(client));
    return;
  }
  timer_.expires_after(retryInterval);
  timer_.async_wait([this](const error_code& aborted) {
    isAwaitingClient_ = false;
    if (!aborted && acceptor_.is_open()) {
      accept();
    }
  });
  isAwaitingClient_ = true;
}

void ClientAcceptor::admit(ClientConnection::Socket client) {
  closeOnExec(client);
  const bool isPermitted = mayConnect(client);
  const auto connection = std::make_shared<ClientConnection>(std::move(client), owner_, mailbox_);
  if (isPermitted && clients_.size() >= protocol::mostClients) {
    endOneThatSendsNothing();
  }
  const bool isFull = clients_.size() >= protocol::mostClients;
  clients_.insert(connection);
  if (!isPermitted) {
    connection->refuse(failure(ExitCode::failedAtRunTime, "the host belongs to another user").dump() + '\n');
  } else if (isFull) {
    connection->refuse(failure(ExitCode::failedAtRunTime, "too many clients").dump() + '\n');
  } else {
    connection->start();
  }
}

// Makes room, so that clients which only keep their connections open lock nobody out.
void ClientAcceptor::endOneThatSendsNothing() {
  std::shared_ptr<ClientConnection> oldest;
  for (const auto& client : clients_) {
    const auto limit = client->requestLimit();
    if (limit && (!oldest || *limit < *oldest->requestLimit())) {
      oldest = client;
    }
  }
  if (oldest) {
    oldest->end();
  }
}

void ClientAcceptor::handle(const std::string& line, const std::shared_ptr<Reply>& reply) const {
  const auto end = [](const json&, const std::shared_ptr<Reply>& late) { late->finish(hostIsEnding()); };
  handleLine(line, isStopping_ ? ControlServer::Handler(end) : handler_, reply);
}

void ClientAcceptor::stop() {
  if (isStopped_) {
    return;
  }
  isStopped_ = true;
  auto idle = idle_.get_future();
  boost::asio::post(context_, [this] {
    stopAccepting();
    forEachClient([](ClientConnection& client) { client.finishUp(); });
    checkForIdleness();
  });
  idle.wait_for(farewell);
  // The handler may refer to what is destroyed now.
  std::promise<void> done;
  boost::asio::post(context_, [this, &done] {
    handler_ = nullptr;  // is not called again, since the host is ending
    forEachClient([](ClientConnection& client) { client.dropSource(); });
    done.set_value();
  });
  done.get_future().wait();
}

void ClientAcceptor::stopAccepting() {
  if (!isStopping_) {
    isStopping_ = true;
    unlink(path_.c_str());
    error_code ignored;
    acceptor_.close(ignored);
    timer_.cancel();
  }
}

void ClientAcceptor::checkForIdleness() {
  const bool isIdle =
      std::all_of(clients_.begin(), clients_.end(), [](const auto& client) { return client->isIdle(); });
  if (isStopping_ && isIdle && !isIdle_) {
    isIdle_ = true;
    idle_.set_value();
  }
}

}  // namespace spfctl
