#pragma once

#include <mutex>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

// Includes Asio, which is slow to compile: for the server only.
namespace spfctl {

/// Hands work to the server's thread. Any thread may use it, also after the server's end: what is posted after `close`
/// is dropped.
class Mailbox {
 public:
  explicit Mailbox(boost::asio::io_context& context) : context_(&context) {}

  template <class Work>
  void post(Work work) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (context_ != nullptr) {
      boost::asio::post(*context_, std::move(work));
    }
  }

  /// Called before the context is destroyed.
  void close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    context_ = nullptr;
  }

 private:
  std::mutex mutex_;

  // Guarded by `mutex_`:
  boost::asio::io_context* context_;
};

}  // namespace spfctl
