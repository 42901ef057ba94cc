#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "agent/spf/etcd/Registry.hpp"
#include "agent/spf/etcd/Settings.hpp"

namespace agent::spf::etcd {

/// The outcome of a request.
struct HttpAnswer {
  std::string failure;  ///< why there is no answer; empty if there is one
  long status = 0;
  std::string body;  ///< empty for a stream
};

/// A request of POST.
struct HttpRequest {
  std::string url;
  std::string body;
  std::string authorization;  ///< the value of that header; empty for none

  /// For the whole exchange; that of a stream counts until the connection stands.
  std::chrono::milliseconds timeout{0};

  /// Makes the answer a stream, if its status is 200: called with each piece. Empty for a usual answer.
  std::function<void(std::string_view)> onPiece;

  /// Called once, unless the request is cancelled.
  std::function<void(HttpAnswer)> onDone;
};

/// Exchanges with HTTP servers, all on the thread that turns the loop. Another thread may call `wakeUp` and `traffic`
/// only. Handlers may start and cancel requests; `turn` throws what they throw, and the loop stays usable.
class HttpLoop {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Id = std::uint64_t;

  /// Of one answer, and of one message of a stream.
  static constexpr std::size_t longestAnswer = std::size_t{64} * 1024 * 1024;

  /// \throws std::runtime_error  if libcurl cannot be initialised
  explicit HttpLoop(const Settings& settings);
  ~HttpLoop();

  HttpLoop(const HttpLoop&) = delete;
  HttpLoop& operator=(const HttpLoop&) = delete;

  /// Starts a request. Its handlers are called from `turn` only.
  Id start(HttpRequest request);

  /// Ends a request without a call of its handlers; does nothing if it is over.
  void cancel(Id id) noexcept;

  /// Waits until something arrives, until woken up, or until a point in time, and handles what has arrived.
  void turn(TimePoint until);

  /// Ends the wait of `turn`, or the next one.
  void wakeUp() noexcept;

  Traffic traffic() const noexcept;

 private:
  class Multi;
  class Transfer;

  void dispatchPieces();
  void dispatchDone();

  // Constant after construction:
  const Settings settings_;
  const std::unique_ptr<Multi> multi_;

  // Used by the turning thread:
  Id last_ = 0;
  std::map<Id, std::unique_ptr<Transfer>> transfers_;

  // Synchronised by themselves:
  std::atomic<std::uint64_t> requests_{0};
  std::atomic<std::uint64_t> sent_{0};
  std::atomic<std::uint64_t> received_{0};
};

/// A request that is cancelled by its destruction. Must not outlive the loop.
class HttpCall {
 public:
  HttpCall() = default;
  HttpCall(HttpLoop& loop, HttpRequest request) : loop_(&loop), id_(loop.start(std::move(request))) {}
  ~HttpCall() { cancel(); }

  HttpCall(HttpCall&& other) noexcept : loop_(std::exchange(other.loop_, nullptr)), id_(other.id_) {}
  HttpCall& operator=(HttpCall&& other) noexcept {
    if (this != &other) {
      cancel();
      loop_ = std::exchange(other.loop_, nullptr);
      id_ = other.id_;
    }
    return *this;
  }

  void cancel() noexcept {
    if (auto* const loop = std::exchange(loop_, nullptr)) {
      loop->cancel(id_);
    }
  }

 private:
  HttpLoop* loop_ = nullptr;
  HttpLoop::Id id_ = 0;
};

}  // namespace agent::spf::etcd
