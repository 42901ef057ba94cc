#include "Resolver.hpp"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include "agent/spf/frameworksupport/startThread.hpp"
#include "keepLibraryLoaded.hpp"

namespace spf::zeromq {

namespace {

constexpr int maxThreads = 4;

std::string toText(const addrinfo& entry) {
  char text[NI_MAXHOST] = "";
  getnameinfo(entry.ai_addr, entry.ai_addrlen, text, sizeof(text), nullptr, 0, NI_NUMERICHOST);
  return text;
}

std::string reasonOf(int result, int systemError) {
  return result == EAI_SYSTEM ? std::generic_category().message(systemError) : gai_strerror(result);
}

ResolvedHost lookUpNow(const std::string& host) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (result != 0) {
    return {{}, reasonOf(result, errno)};
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
  ResolvedHost resolved;
  for (const int family : {AF_INET, AF_INET6}) {
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
      if (entry->ai_family == family) {
        resolved.addresses.push_back(toText(*entry));
      }
    }
  }
  resolved.failure = resolved.addresses.empty() ? "no IP address" : "";
  return resolved;
}

/// Returns the outcome of a look-up that throws. Its text is short enough to need no memory.
ResolvedHost outOfMemory() noexcept {
  return {{}, "out of memory"};
}

ResolvedHost resolve(const std::string& host) noexcept {
  try {
    return lookUpNow(host);
  } catch (...) {
    return outOfMemory();
  }
}

/// Calls a handler with the outcome, and with a failure if it throws.
void call(const Resolver::Handler& handler, const ResolvedHost& resolved) noexcept {
  try {
    handler(resolved);
  } catch (...) {
    try {
      handler(outOfMemory());
    } catch (...) {
      // The handler cannot be notified at all; the other look-ups must not be affected.
    }
  }
}

}  // namespace

/// The state that the resolver shares with its threads.
class Resolver::Requests {
 public:
  void lookUp(const std::string& host, Handler handler, const std::shared_ptr<Requests>& self) {
    const std::lock_guard<std::mutex> lock(mutex_);
    add(host, std::move(handler), self);
  }

  void stop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    handlers_.clear();
    changed_.notify_all();
  }

 private:
  /// Adds a request, entirely or not at all. Has to be called with the mutex locked.
  void add(const std::string& host, Handler handler, const std::shared_ptr<Requests>& self) {
    const auto waiting = handlers_.find(host);
    if (waiting != handlers_.end()) {
      waiting->second.push_back(std::move(handler));
      return;
    }
    hosts_.push_back(host);
    try {
      handlers_[host].push_back(std::move(handler));
      if (idleThreads_ < static_cast<int>(hosts_.size()) && threads_ < maxThreads) {
        startThread(self);
      }
    } catch (...) {
      handlers_.erase(host);
      hosts_.pop_back();
      throw;
    }
    changed_.notify_one();
  }

  /// Starts another thread. If that fails, the existing threads do its work.
  void startThread(const std::shared_ptr<Requests>& self) {
    try {
      keepLibraryLoaded();  // a look-up may end after the bundle
      agent::spf::frameworksupport::startThread([self] { self->work(); }).detach();
      ++threads_;
    } catch (...) {
      if (threads_ == 0) {
        throw;
      }
    }
  }

  void work() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      ++idleThreads_;
      changed_.wait(lock, [this] { return stopped_ || !hosts_.empty(); });
      --idleThreads_;
      if (stopped_) {
        return;
      }
      const std::string host = std::move(hosts_.front());
      hosts_.pop_front();
      lock.unlock();
      const ResolvedHost resolved = resolve(host);
      lock.lock();
      // Under the lock, so that no handler is called after the resolver's destruction.
      answer(host, resolved);
    }
  }

  void answer(const std::string& host, const ResolvedHost& resolved) noexcept {
    const auto waiting = handlers_.extract(host);
    if (!waiting.empty()) {
      for (const Handler& handler : waiting.mapped()) {
        call(handler, resolved);
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::deque<std::string> hosts_;
  std::map<std::string, std::vector<Handler>> handlers_;
  int threads_ = 0;
  int idleThreads_ = 0;
  bool stopped_ = false;
};

Resolver::Resolver() : requests_(std::make_shared<Requests>()) {}

Resolver::~Resolver() {
  requests_->stop();
}

void Resolver::lookUp(const std::string& host, Handler handler) {
  requests_->lookUp(host, std::move(handler), requests_);
}

}  // namespace spf::zeromq
