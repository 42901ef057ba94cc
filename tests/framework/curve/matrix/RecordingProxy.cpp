#include "RecordingProxy.hpp"

#include <array>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include "spf/test/Gate.hpp"
#include "tcpAddresses.hpp"

namespace spf::test {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

namespace {

/// The bytes that a connection carries. A text is searched in them, so those of each direction stay together.
class Record {
 public:
  void add(const char* bytes, std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    bytes_.append(bytes, size);
  }

  std::string bytes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return bytes_;
  }

 private:
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::string bytes_;
};

/// A client's connection and the one to the server. Used on the proxy's thread only.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(asio::io_context& context, tcp::socket client, Record& up, Record& down, Gate& ended)
      : client_(std::move(client)),
        server_(context),
        up_(client_, server_, up),
        down_(server_, client_, down),
        ended_(ended) {}

  void start(const tcp::endpoint& server) {
    server_.async_connect(server, [self = shared_from_this()](const Error& error) {
      if (error) {
        self->close();
        return;
      }
      self->pump(self->up_);
      self->pump(self->down_);
    });
  }

 private:
  struct Direction {
    Direction(tcp::socket& source, tcp::socket& target, Record& made) : from(source), to(target), record(made) {}

    tcp::socket& from;
    tcp::socket& to;
    Record& record;
    std::array<char, 16384> buffer{};
  };

  void pump(Direction& direction) {
    const auto self = shared_from_this();
    direction.from.async_read_some(asio::buffer(direction.buffer),
                                   [this, self, &direction](const Error& failure, std::size_t size) {
                                     if (failure) {
                                       close();
                                       return;
                                     }
                                     // Before it is written, so that nothing reaches the other side unrecorded.
                                     direction.record.add(direction.buffer.data(), size);
                                     asio::async_write(direction.to, asio::buffer(direction.buffer.data(), size),
                                                       [this, self, &direction](const Error& error, std::size_t) {
                                                         if (error) {
                                                           close();
                                                         } else {
                                                           pump(direction);
                                                         }
                                                       });
                                   });
  }

  void close() {
    Error ignored;
    client_.close(ignored);
    server_.close(ignored);
    ended_.open();
  }

  tcp::socket client_;
  tcp::socket server_;
  Direction up_;
  Direction down_;
  Gate& ended_;
};

}  // namespace

class RecordingProxy::Impl {
 public:
  explicit Impl(const std::string& server)
      : server_(toEndpoint(server)),
        acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
        address_(toAddress(acceptor_.local_endpoint())) {
    accept();
    thread_ = std::thread([this] { context_.run(); });
  }

  ~Impl() {
    context_.stop();
    thread_.join();
  }

  const std::string& address() const noexcept { return address_; }

  bool waitForEnd() { return ended_.wait(); }

  std::string recorded() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string all;
    for (const Record& record : records_) {
      all += record.bytes();
    }
    return all;
  }

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
    Error ignored;
    client.set_option(tcp::no_delay(true), ignored);
    std::unique_lock<std::mutex> lock(mutex_);
    Record& up = records_.emplace_back();
    Record& down = records_.emplace_back();
    lock.unlock();
    std::make_shared<Connection>(context_, std::move(client), up, down, ended_)->start(server_);
  }

  // Destroyed after the connections that the context's handlers hold.
  Gate ended_;
  mutable std::mutex mutex_;

  // Guarded by `mutex_`; the records themselves never move:
  std::list<Record> records_;

  asio::io_context context_;
  const tcp::endpoint server_;
  tcp::acceptor acceptor_;
  const std::string address_;
  std::thread thread_;
};

RecordingProxy::RecordingProxy(const std::string& server) : impl_(std::make_unique<Impl>(server)) {}

RecordingProxy::~RecordingProxy() = default;

std::string RecordingProxy::address() const {
  return impl_->address();
}

bool RecordingProxy::waitForEnd() {
  return impl_->waitForEnd();
}

std::string RecordingProxy::recorded() const {
  return impl_->recorded();
}

}  // namespace spf::test
