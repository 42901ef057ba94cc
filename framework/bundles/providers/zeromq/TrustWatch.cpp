#include "TrustWatch.hpp"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "agent/spf/frameworksupport/startThread.hpp"
#include "keepLibraryLoaded.hpp"

namespace spf::zeromq {

using agent::spf::frameworksupport::startThread;
using agent::spf::security::TrustedKeys;
using agent::spf::security::TrustFolder;

namespace {

using Clock = std::chrono::steady_clock;

/// The time between two refreshes that nobody has requested.
constexpr std::chrono::seconds period{1};

/// How long the end waits for a refresh.
constexpr std::chrono::seconds endTime{1};

}  // namespace

/// The state that the watch shares with its thread.
class TrustWatch::Refreshes {
 public:
  Refreshes(std::shared_ptr<TrustFolder> folder, Handler handler)
      : folder_(std::move(folder)), handler_(std::move(handler)), reported_(folder_->keys()) {}

  std::uint64_t request() {
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
    return ++requested_;
  }

  /// \return whether the thread has ended, but for its last instructions
  bool stop() {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
    return changed_.wait_until(lock, Clock::now() + endTime, [this] { return ended_; });
  }

  void run() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    bool worked = true;
    while (!stopped_) {
      changed_.wait_until(lock, Clock::now() + period, [&] { return stopped_ || (worked && requested_ != handled_); });
      if (!stopped_) {
        worked = refresh(lock);
      }
    }
    ended_ = true;
    changed_.notify_all();
  }

 private:
  /// \return whether the outcome was handled; otherwise no memory is left, and the next attempt has to wait
  bool refresh(std::unique_lock<std::mutex>& lock) noexcept {
    const auto request = requested_;
    lock.unlock();
    const bool isRead = read();
    lock.lock();
    return isRead && (stopped_ || handle(request));
  }

  bool read() noexcept {
    try {
      folder_->refresh();
      return true;
    } catch (...) {
      return false;
    }
  }

  // Under the lock, so that the handler is not called after the watch's destruction.
  bool handle(std::uint64_t request) noexcept {
    try {
      const auto keys = folder_->keys();
      if (keys != reported_ || request != handled_) {
        handler_(request, keys);
      }
      reported_ = keys;
      handled_ = request;
      return true;
    } catch (...) {
      return false;
    }
  }

  // Constant after construction; the folder is refreshed by the thread only:
  const std::shared_ptr<TrustFolder> folder_;
  const Handler handler_;

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::shared_ptr<const TrustedKeys> reported_;
  std::uint64_t requested_ = 0;
  std::uint64_t handled_ = 0;
  bool stopped_ = false;
  bool ended_ = false;
};

TrustWatch::TrustWatch(std::shared_ptr<TrustFolder> folder, Handler handler)
    : refreshes_(std::make_shared<Refreshes>(std::move(folder), std::move(handler))),
      thread_(startThread([refreshes = refreshes_] { refreshes->run(); })) {}

TrustWatch::~TrustWatch() {
  if (refreshes_->stop()) {
    thread_.join();
  } else {
    keepLibraryLoaded();
    thread_.detach();
  }
}

std::uint64_t TrustWatch::request() {
  return refreshes_->request();
}

}  // namespace spf::zeromq
