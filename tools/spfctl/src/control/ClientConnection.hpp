#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <nlohmann/json_fwd.hpp>

#include "control/Mailbox.hpp"
#include "control/Reply.hpp"

// Includes Asio, which is slow to compile: for the server only.
namespace spfctl {

/// One client of the control socket. Its members run on the server's thread, except for what `Reply` offers.
///
///     reading --a line--> answering --finish--> writing --> reading ...
///                         answering --stream--> streaming, until the client or the host goes
///
/// An exception in a handler, such as for want of memory, ends the connection and nothing else.
class ClientConnection : public std::enable_shared_from_this<ClientConnection> {
 public:
  using Socket = boost::asio::local::stream_protocol::socket;

  struct Owner {
    /// Handles one line; what it throws becomes the answer.
    std::function<void(const std::string& line, const std::shared_ptr<Reply>& reply)> handle;

    /// Called after a request has been answered, and at the end of the connection.
    std::function<void()> onIdle;

    /// Called once, when the connection is over.
    std::function<void(const std::shared_ptr<ClientConnection>&)> onEnd;
  };

  ClientConnection(Socket socket, const Owner& owner, std::shared_ptr<Mailbox> mailbox);
  ~ClientConnection();

  void start();

  /// Lets the running request be the last one, and a stream end when its source is empty.
  void finishUp();

  /// Returns whether there is nothing to answer and nothing to send.
  bool isIdle() const { return phase_ == Phase::reading || phase_ == Phase::ended; }

  /// Returns by when the client has to send its next request; nothing unless that is waited for.
  std::optional<std::chrono::steady_clock::time_point> requestLimit() const;

  void end();

  /// Ends a stream whose client was too slow for the last of it.
  void dropSource();

  /// Sends one line and ends the connection when it is sent.
  void refuse(const std::string& line);

 private:
  class RequestReply;

  /// What replies use on other threads, which may outlive the connection and the server.
  struct Shared {
    explicit Shared(std::shared_ptr<Mailbox> box) : mailbox(std::move(box)) {}

    const std::shared_ptr<Mailbox> mailbox;
    std::atomic<bool> isGone{false};
    std::atomic<bool> isWakePending{false};
  };

  enum class Phase { reading, answering, writing, streaming, ended };

  template <class Work>
  void guarded(Work work);

  void read();
  void onRead(const boost::system::error_code& error);
  void handleNextLine();
  void watchForHangUp();
  bool hasHungUp();
  void limitTime();
  void answer(std::uint64_t request, std::string line);
  void startStream(std::uint64_t request, std::string first, Reply::Source source);
  void write(std::string text);
  void onWritten(const boost::system::error_code& error);
  void pump();

  Socket socket_;
  boost::asio::steady_timer timer_;
  const Owner& owner_;
  const std::shared_ptr<Shared> shared_;
  std::string received_;
  std::size_t searched_ = 0;  ///< how much of `received_` has no end of line
  std::string sending_;
  Reply::Source source_;
  Phase phase_ = Phase::reading;
  std::uint64_t request_ = 0;  ///< the number of the current request
  bool isReading_ = false;
  bool isAtEnd_ = false;  ///< the client sends nothing any more
  bool isFinishing_ = false;
  bool isSending_ = false;
};

}  // namespace spfctl
