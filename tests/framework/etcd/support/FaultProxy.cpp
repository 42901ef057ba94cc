#include "FaultProxy.hpp"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include "EtcdProcess.hpp"
#include "spf/test/Gate.hpp"

namespace etcdtest {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

namespace {

constexpr std::chrono::milliseconds delayOfParts{200};

/// What has passed, once somebody wants to know. Any thread may call any member.
class Record {
 public:
  void start() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isWanted_ = true;
  }
  void add(const char* bytes, std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isWanted_) {
      bytes_.append(bytes, size);
    }
  }
  std::string bytes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return bytes_;
  }

 private:
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  bool isWanted_ = false;
  std::string bytes_;
};

/// What connections need of the proxy; used on its thread only.
struct Shared {
  explicit Shared(asio::io_context& work) : context(work) {}

  asio::io_context& context;
  FaultProxy::Behaviour behaviour = FaultProxy::Behaviour::forward;
  std::string answer;
  Record record;
};

class Connection;
using Connections = std::set<std::shared_ptr<Connection>>;

/// A client's connection and the one to the server. Used on the proxy's thread only.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(Shared& shared, tcp::socket client)
      : shared_(shared), client_(std::move(client)), server_(shared.context) {}

  void start(const tcp::endpoint& server) {
    server_.async_connect(server, [self = shared_from_this()](const Error& error) {
      if (error) {
        self->reset();
        return;
      }
      self->up_.read();
      self->down_.read();
    });
  }

  /// Answers without a server.
  void startAnswering() { up_.read(); }

  void reset() {
    Error ignored;
    client_.set_option(asio::socket_base::linger(true, 0), ignored);
    client_.close(ignored);
    server_.close(ignored);
  }

  /// Sends what was held back while the behaviour was `stall`.
  void resume() {
    up_.forward();
    down_.forward();
  }

 private:
  /// One direction.
  class Pump {
   public:
    Pump(Connection& owner, tcp::socket& from, tcp::socket& to)
        : owner_(owner), from_(from), to_(to), timer_(owner.shared_.context) {}

    void read() {
      from_.async_read_some(asio::buffer(buffer_),
                            [this, self = owner_.shared_from_this()](const Error& error, std::size_t size) {
                              if (error) {
                                hasEnded_ = true;
                                forward();
                                return;
                              }
                              owner_.shared_.record.add(buffer_.data(), size);
                              pending_.append(buffer_.data(), size);
                              if (owner_.shared_.behaviour == FaultProxy::Behaviour::answer) {
                                owner_.answerAndClose();
                                return;
                              }
                              forward();
                              read();
                            });
    }

    void forward() {
      if (isBusy_ || owner_.shared_.behaviour == FaultProxy::Behaviour::stall) {
        return;
      }
      if (pending_.empty()) {
        if (hasEnded_) {
          Error ignored;
          to_.shutdown(tcp::socket::shutdown_send, ignored);
        }
        return;
      }
      isBusy_ = true;
      if (owner_.shared_.behaviour == FaultProxy::Behaviour::delay) {
        timer_.expires_after(delayOfParts);
        timer_.async_wait([this, self = owner_.shared_from_this()](const Error&) { write(pending_.size()); });
      } else {
        write(owner_.shared_.behaviour == FaultProxy::Behaviour::pieces ? 1 : pending_.size());
      }
    }

   private:
    void write(std::size_t size) {
      writing_ = pending_.substr(0, size);
      pending_.erase(0, size);
      asio::async_write(to_, asio::buffer(writing_),
                        [this, self = owner_.shared_from_this()](const Error& error, std::size_t) {
                          isBusy_ = false;
                          if (!error) {
                            forward();
                          }
                        });
    }

    Connection& owner_;
    tcp::socket& from_;
    tcp::socket& to_;
    asio::steady_timer timer_;
    std::array<char, 16384> buffer_{};
    std::string pending_;
    std::string writing_;
    bool isBusy_ = false;
    bool hasEnded_ = false;
  };

  void answerAndClose() {
    asio::async_write(client_, asio::buffer(shared_.answer),
                      [self = shared_from_this(), text = shared_.answer](const Error&, std::size_t) {
                        Error ignored;
                        self->client_.shutdown(tcp::socket::shutdown_both, ignored);
                        self->client_.close(ignored);
                      });
  }

  Shared& shared_;
  tcp::socket client_;
  tcp::socket server_;
  Pump up_{*this, client_, server_};
  Pump down_{*this, server_, client_};
};

}  // namespace

class FaultProxy::Impl {
 public:
  explicit Impl(int port)
      : server_(asio::ip::make_address(addressOfThisProcess()), static_cast<std::uint16_t>(port)),
        acceptor_(context_, tcp::endpoint(server_.address(), 0)),
        url_("http://" + addressOfThisProcess() + ":" + std::to_string(acceptor_.local_endpoint().port())) {
    accept();
    thread_ = std::thread([this] { context_.run(); });
  }

  ~Impl() {
    context_.stop();
    thread_.join();
  }

  const std::string& url() const noexcept { return url_; }

  void set(Behaviour behaviour, std::string answer) {
    asio::post(context_, [this, behaviour, answer = std::move(answer)]() mutable {
      shared_.behaviour = behaviour;
      shared_.answer = std::move(answer);
      if (behaviour == Behaviour::cut || behaviour == Behaviour::answer) {
        resetAll();
      }
      for (const auto& connection : connections_) {
        connection->resume();
      }
    });
  }

  void cutConnections() {
    asio::post(context_, [this] { resetAll(); });
  }

  bool waitForConnections(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, spf::test::patience, [&] { return count_ >= count; });
  }

  std::size_t connections() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
  }

  Record& record() noexcept { return shared_.record; }

 private:
  void accept() {
    acceptor_.async_accept([this](const Error& error, tcp::socket client) {
      if (!error) {
        start(std::move(client));
      }
      accept();
    });
  }

  void start(tcp::socket client) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++count_;
    }
    changed_.notify_all();
    Error ignored;
    client.set_option(tcp::no_delay(true), ignored);
    const auto connection = std::make_shared<Connection>(shared_, std::move(client));
    if (shared_.behaviour == Behaviour::cut) {
      connection->reset();
      return;
    }
    connections_.insert(connection);
    if (shared_.behaviour == Behaviour::answer) {
      connection->startAnswering();
    } else {
      connection->start(server_);
    }
  }

  void resetAll() {
    for (const auto& connection : std::exchange(connections_, {})) {
      connection->reset();
    }
  }

  asio::io_context context_;
  const tcp::endpoint server_;
  tcp::acceptor acceptor_;
  const std::string url_;
  Shared shared_{context_};
  Connections connections_;
  std::thread thread_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::size_t count_ = 0;
};

FaultProxy::FaultProxy(int port) : impl_(std::make_unique<Impl>(port)) {}

FaultProxy::~FaultProxy() = default;

std::string FaultProxy::url() const {
  return impl_->url();
}

void FaultProxy::set(Behaviour behaviour) {
  impl_->set(behaviour, "");
}

void FaultProxy::answerWith(std::string text) {
  impl_->set(Behaviour::answer, std::move(text));
}

void FaultProxy::cutConnections() {
  impl_->cutConnections();
}

bool FaultProxy::waitForConnections(std::size_t count) {
  return impl_->waitForConnections(count);
}

std::size_t FaultProxy::connections() const {
  return impl_->connections();
}

void FaultProxy::record() {
  impl_->record().start();
}

std::string FaultProxy::recorded() const {
  return impl_->record().bytes();
}

}  // namespace etcdtest
