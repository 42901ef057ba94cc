#include "Resolver.hpp"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include "agent/spf/frameworkinterfaces/startThread.hpp"

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

ResolvedHost resolve(const std::string& host) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (result != 0) {
    return {{}, reasonOf(result, errno)};
  }
  ResolvedHost resolved;
  for (const int family : {AF_INET, AF_INET6}) {
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
      if (entry->ai_family == family) {
        resolved.addresses.push_back(toText(*entry));
      }
    }
  }
  freeaddrinfo(found);
  resolved.failure = resolved.addresses.empty() ? "no IP address" : "";
  return resolved;
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

  // Guarded by mutex.
  std::deque<std::string> hosts;
  std::map<std::string, std::vector<Handler>> handlers;
  int threads = 0;
  int idleThreads = 0;
  bool stopped = false;

  /// To be called with the mutex locked. Without a new thread the work is left to those that there are.
  void startThread(const std::shared_ptr<Requests>& self) {
    try {
      stayLoaded();
      agent::spf::frameworkinterfaces::startThread([self] { self->work(); }).detach();
      ++threads;
    } catch (const std::system_error&) {
      if (threads == 0) {
        handlers.erase(hosts.back());
        hosts.pop_back();
        throw;
      }
    }
  }

  void work() {
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
      for (const Handler& handler : std::exchange(handlers[host], {})) {
        handler(resolved);
      }
      handlers.erase(host);
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
  auto& waiting = requests_->handlers[host];
  waiting.push_back(std::move(handler));
  if (waiting.size() > 1) {
    return;
  }
  requests_->hosts.push_back(host);
  if (requests_->idleThreads < static_cast<int>(requests_->hosts.size()) && requests_->threads < mostThreads) {
    requests_->startThread(requests_);
  }
  requests_->changed.notify_one();
}

}  // namespace spf::zeromq
