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
#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>
#include "agent/spf/frameworksupport/startThread.hpp"

namespace spf::zeromq {

namespace {

constexpr int mostThreads = 4;

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

/// What becomes of a look-up that throws; the text is short enough to need no memory.
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

/// Hands the outcome on; a handler that has no room for it is given a failure instead.
void call(const Resolver::Handler& handler, const ResolvedHost& resolved) noexcept {
  try {
    handler(resolved);
  } catch (...) {
    try {
      handler(outOfMemory());
    } catch (...) {
      // Nobody is left to tell; the other look-ups must not suffer from it.
    }
  }
}

// A thread that is inside a look-up returns to this code when the bundle may be long gone.
void stayLoaded() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&stayLoaded), &info) != 0) {
    dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

}  // namespace

/// What the resolver shares with its threads.
struct Resolver::Requests {
  std::mutex mutex;
  std::condition_variable changed;

  // Guarded by `mutex`:
  std::deque<std::string> hosts;
  std::map<std::string, std::vector<Handler>> handlers;
  int threads = 0;
  int idleThreads = 0;
  bool stopped = false;

  /// To be called with the mutex locked. Does all of it or nothing.
  void add(const std::string& host, Handler handler, const std::shared_ptr<Requests>& self) {
    const auto waiting = handlers.find(host);
    if (waiting != handlers.end()) {
      waiting->second.push_back(std::move(handler));
      return;
    }
    hosts.push_back(host);
    try {
      handlers[host].push_back(std::move(handler));
      if (idleThreads < static_cast<int>(hosts.size()) && threads < mostThreads) {
        startThread(self);
      }
    } catch (...) {
      handlers.erase(host);
      hosts.pop_back();
      throw;
    }
    changed.notify_one();
  }

  /// Without a new thread the work is left to those that there are.
  void startThread(const std::shared_ptr<Requests>& self) {
    try {
      stayLoaded();
      agent::spf::frameworksupport::startThread([self] { self->work(); }).detach();
      ++threads;
    } catch (...) {
      if (threads == 0) {
        throw;
      }
    }
  }

  void work() noexcept {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      ++idleThreads;
      changed.wait(lock, [this] { return stopped || !hosts.empty(); });
      --idleThreads;
      if (stopped) {
        return;
      }
      const std::string host = std::move(hosts.front());
      hosts.pop_front();
      lock.unlock();
      const ResolvedHost resolved = resolve(host);
      lock.lock();
      // Under the lock, so that none is called once the resolver is gone.
      answer(host, resolved);
    }
  }

  void answer(const std::string& host, const ResolvedHost& resolved) noexcept {
    const auto waiting = handlers.extract(host);
    if (!waiting.empty()) {
      for (const Handler& handler : waiting.mapped()) {
        call(handler, resolved);
      }
    }
  }
};

Resolver::Resolver() : requests_(std::make_shared<Requests>()) {}

Resolver::~Resolver() {
  const std::lock_guard<std::mutex> lock(requests_->mutex);
  requests_->stopped = true;
  requests_->handlers.clear();
  requests_->changed.notify_all();
}

void Resolver::lookUp(const std::string& host, Handler handler) {
  const std::lock_guard<std::mutex> lock(requests_->mutex);
  requests_->add(host, std::move(handler), requests_);
}

}  // namespace spf::zeromq
