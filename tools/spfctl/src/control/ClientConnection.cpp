#include "control/ClientConnection.hpp"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <nlohmann/json.hpp>

#include "control/protocol.hpp"

namespace spfctl {

namespace {

using boost::system::error_code;

// How long a client may take to send a request, or to read an answer.
constexpr std::chrono::seconds patience{30};

constexpr std::size_t readSize = 64U << 10U;

std::string lineOf(const nlohmann::ordered_json& answer) {
  return answer.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

std::string tooLong() {
  return lineOf({{"version", protocol::version},
                 {"ok", false},
                 {"code", 2},
                 {"error", "a request of more than " + std::to_string(protocol::longestRequest) + " bytes"}});
}

}  // namespace

/// The way back for one request. Numbers tell the requests of a connection apart, so an old reply answers no new one.
class ClientConnection::RequestReply : public Reply {
 public:
  RequestReply(const std::shared_ptr<ClientConnection>& connection, std::uint64_t request)
      : shared_(connection->shared_), connection_(connection), request_(request) {}

  void finish(const nlohmann::ordered_json& answer) override {
    shared_->mailbox->post([connection = connection_, request = request_, line = lineOf(answer)]() mutable {
      if (const auto target = connection.lock()) {
        target->guarded([&] { target->answer(request, std::move(line)); });
      }
    });
  }

  void stream(const std::string& first, Source source) override {
    shared_->mailbox->post(
        [connection = connection_, request = request_, line = first, source = std::move(source)]() mutable {
          if (const auto target = connection.lock()) {
            target->guarded([&] { target->startStream(request, std::move(line), std::move(source)); });
          }
        });
  }

  void wake() override {
    if (shared_->isGone || shared_->isWakePending.exchange(true)) {
      return;
    }
    try {
      shared_->mailbox->post([shared = shared_, connection = connection_] {
        shared->isWakePending = false;
        if (const auto target = connection.lock()) {
          target->guarded([&] { target->pump(); });
        }
      });
    } catch (...) {
      shared_->isWakePending = false;  // or nobody would try again
      throw;
    }
  }

  bool isAbandoned() const override { return shared_->isGone; }

 private:
  const std::shared_ptr<Shared> shared_;
  const std::weak_ptr<ClientConnection> connection_;  // locked on the server's thread only
  const std::uint64_t request_;
};

ClientConnection::ClientConnection(Socket socket, const Owner& owner, std::shared_ptr<Mailbox> mailbox)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      owner_(owner),
      shared_(std::make_shared<Shared>(std::move(mailbox))) {}

ClientConnection::~ClientConnection() {
  shared_->isGone = true;
}

template <class Work>
void ClientConnection::guarded(Work work) {
  try {
    work();
  } catch (...) {
    end();
  }
}

void ClientConnection::start() {
  guarded([this] {
    watchForHangUp();
    limitTime();
    read();
  });
}

void ClientConnection::read() {
  if (isReading_ || isAtEnd_ || phase_ == Phase::ended) {
    return;
  }
  isReading_ = true;
  const auto used = received_.size();
  received_.resize(used + readSize);
  socket_.async_read_some(boost::asio::buffer(received_.data() + used, readSize),
                          [self = shared_from_this(), used](const error_code& error, std::size_t count) {
                            self->isReading_ = false;
                            self->received_.resize(used + count);
                            self->guarded([&] { self->onRead(error); });
                          });
}

void ClientConnection::onRead(const error_code& error) {
  isAtEnd_ = isAtEnd_ || error;
  if (phase_ == Phase::reading) {
    handleNextLine();
  }
}

// Further input is read during an answer only as far as it is needed for the next request.
void ClientConnection::handleNextLine() {
  const auto found = received_.find('\n', searched_);
  if (found == std::string::npos) {
    searched_ = received_.size();
    if (received_.size() > protocol::longestRequest) {
      refuse(tooLong());
    } else if (isAtEnd_) {
      end();
    } else {
      read();
    }
    return;
  }
  const auto line = received_.substr(0, found);
  received_.erase(0, found + 1);
  searched_ = 0;
  if (line.size() > protocol::longestRequest) {
    refuse(tooLong());
    return;
  }
  timer_.cancel();
  phase_ = Phase::answering;
  owner_.handle(line, std::make_shared<RequestReply>(shared_from_this(), ++request_));
  if (shared_->isGone) {
    end();
  }
}

// Asio reports a hang-up of the peer as the readiness of out-of-band data. It may also report one that an earlier
// connection has left behind, if this connection was accepted in the meantime. A client that sends nothing any more has
// not hung up. What a client has sent before it hung up is still carried out.
void ClientConnection::watchForHangUp() {
  socket_.async_wait(Socket::wait_error, [self = shared_from_this()](const error_code& error) {
    if (error || self->phase_ == Phase::ended) {
      return;
    }
    if (!self->hasHungUp()) {
      self->watchForHangUp();
      return;
    }
    self->shared_->isGone = true;
    if (self->phase_ != Phase::reading) {
      self->end();
    }
  });
}

bool ClientConnection::hasHungUp() {
  pollfd channel{socket_.native_handle(), 0, 0};
  return poll(&channel, 1, 0) > 0 && (channel.revents & (POLLHUP | POLLERR)) != 0;
}

void ClientConnection::limitTime() {
  timer_.expires_after(patience);
  timer_.async_wait([self = shared_from_this(), request = request_, phase = phase_](const error_code& error) {
    const bool hasMoved = self->request_ != request || self->phase_ != phase;
    if (!error && !hasMoved) {
      self->end();
    }
  });
}

void ClientConnection::answer(std::uint64_t request, std::string line) {
  if (phase_ != Phase::answering || request != request_) {
    return;
  }
  phase_ = Phase::writing;
  limitTime();
  write(std::move(line));
}

void ClientConnection::startStream(std::uint64_t request, std::string first, Reply::Source source) {
  if (phase_ != Phase::answering || request != request_) {
    return;
  }
  phase_ = Phase::streaming;
  source_ = std::move(source);
  write(std::move(first));
}

void ClientConnection::write(std::string text) {
  sending_ = std::move(text);
  isSending_ = true;
  boost::asio::async_write(socket_, boost::asio::buffer(sending_),
                           [self = shared_from_this()](const error_code& error, std::size_t) {
                             self->isSending_ = false;
                             self->guarded([&] { self->onWritten(error); });
                           });
}

void ClientConnection::onWritten(const error_code& error) {
  if (error || phase_ == Phase::ended) {
    end();
  } else if (phase_ == Phase::streaming) {
    pump();
  } else if (phase_ == Phase::writing) {
    phase_ = Phase::reading;
    if (isFinishing_) {
      owner_.onIdle();  // further requests are refused
    } else {
      limitTime();
    }
    handleNextLine();
  }
}

void ClientConnection::pump() {
  if (phase_ != Phase::streaming || isSending_) {
    return;
  }
  auto text = source_();
  if (!text.empty()) {
    write(std::move(text));
  } else if (isFinishing_) {
    phase_ = Phase::reading;
    source_ = nullptr;
    owner_.onIdle();
  }
}

void ClientConnection::finishUp() {
  isFinishing_ = true;
  guarded([this] { pump(); });
}

void ClientConnection::refuse(const std::string& line) {
  guarded([&] {
    phase_ = Phase::writing;
    sending_ = line;
    boost::asio::async_write(socket_, boost::asio::buffer(sending_),
                             [self = shared_from_this()](const error_code&, std::size_t) { self->end(); });
    limitTime();
  });
}

std::optional<std::chrono::steady_clock::time_point> ClientConnection::requestLimit() const {
  return phase_ == Phase::reading ? std::optional(timer_.expiry()) : std::nullopt;
}

void ClientConnection::dropSource() {
  if (phase_ == Phase::streaming) {
    end();
  }
}

void ClientConnection::end() {
  if (phase_ == Phase::ended) {
    return;
  }
  phase_ = Phase::ended;
  shared_->isGone = true;
  source_ = nullptr;
  timer_.cancel();
  error_code ignored;
  socket_.close(ignored);
  owner_.onEnd(shared_from_this());
}

}  // namespace spfctl
