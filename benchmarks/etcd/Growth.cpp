// Counts what hosts ask of etcd: so many hosts in one process, each of which announces one name and reads all, at rest
// for a minute, then while all of them restart at once.
//
//     etcd_growth [HOSTS...]    10 and 100 if none is named

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>
#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/Registry.hpp"
#include "etcd/support/EtcdCluster.hpp"

namespace {

using agent::spf::etcd::NameRecord;
using agent::spf::etcd::Registry;
using agent::spf::etcd::Settings;
using agent::spf::etcd::Traffic;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds observation{60};
constexpr std::chrono::seconds patience{60};

/// Wakes the main thread after changes.
class Changes {
 public:
  void note() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    changed_.notify_all();
  }

  /// Blocks until the condition holds after some change. \return false if it does not in time
  template <class Condition>
  bool waitUntil(Condition condition) {
    const auto deadline = Clock::now() + patience;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      const auto before = count_;
      lock.unlock();
      if (condition()) {
        return true;
      }
      lock.lock();
      if (!changed_.wait_until(lock, deadline, [&] { return count_ != before; })) {
        return false;
      }
    }
  }

  /// Waits while nothing is to happen.
  void rest(Clock::duration time) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto end = Clock::now() + time;
    changed_.wait_until(lock, end, [&] { return Clock::now() >= end; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  unsigned long count_ = 0;
};

/// Hosts, each with a registry of its own.
class Hosts {
 public:
  Hosts(Settings settings, int count) : settings_(std::move(settings)), count_(count) {}

  void start() {
    ++generation_;
    for (int host = 0; host < count_; ++host) {
      hosts_.push_back(
          std::make_unique<Registry>(settings_, Registry::Callbacks{[this] { changes_.note(); }, nullptr}));
      NameRecord record;
      record.name = "publisher" + std::to_string(host);
      record.id = std::to_string(generation_) + "-" + std::to_string(host);
      record.address = "tcp://10.0.0." + std::to_string(host) + ":5555";
      record.host = "host" + std::to_string(host);
      record.configuration = "growth";
      auto [key, value] = encode(record);
      hosts_.back()->put(std::move(key), std::move(value));
    }
  }

  /// Ends all hosts at once, each of which gives its lease back.
  void stop() {
    std::vector<std::thread> ends;
    for (auto& host : hosts_) {
      ended_ = sum(ended_, host->traffic());
      ends.emplace_back([ending = std::move(host)]() mutable { ending.reset(); });
    }
    for (std::thread& end : ends) {
      end.join();
    }
    hosts_.clear();
  }

  /// Blocks until every host knows every name.
  bool waitUntilKnown() {
    return changes_.waitUntil([&] {
      return std::all_of(hosts_.begin(), hosts_.end(),
                         [&](const auto& host) { return host->entries()->size() == static_cast<std::size_t>(count_); });
    });
  }

  void rest() { changes_.rest(observation); }

  Traffic traffic() const {
    Traffic all = ended_;
    for (const auto& host : hosts_) {
      all = sum(all, host->traffic());
    }
    return all;
  }

 private:
  static Traffic sum(const Traffic& left, const Traffic& right) {
    return {left.requests + right.requests, left.sentBytes + right.sentBytes, left.receivedBytes + right.receivedBytes};
  }

  const Settings settings_;
  const int count_;
  int generation_ = 0;
  Changes changes_;
  std::vector<std::unique_ptr<Registry>> hosts_;
  Traffic ended_;
};

/// Returns the processor time that a process has used, in seconds.
double processorTime(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(line.rfind(')') + 1));
  std::string skipped;
  for (int field = 3; field < 14; ++field) {
    fields >> skipped;
  }
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/// What was used so far.
struct Use {
  Traffic traffic;
  double hosts = 0;  ///< processor time of all hosts, in seconds
  double etcd = 0;   ///< that of etcd
  Clock::time_point time = Clock::now();
};

void print(const char* when, int hosts, const Use& before, const Use& after) {
  const double count = hosts;
  std::printf(
      "%4d hosts, %-12s %6.2f s: per host %5.1f requests, %7.0f bytes sent, %8.0f bytes received, %6.1f ms of "
      "processor "
      "time; etcd %6.2f s\n",
      hosts, when, std::chrono::duration<double>(after.time - before.time).count(),
      static_cast<double>(after.traffic.requests - before.traffic.requests) / count,
      static_cast<double>(after.traffic.sentBytes - before.traffic.sentBytes) / count,
      static_cast<double>(after.traffic.receivedBytes - before.traffic.receivedBytes) / count,
      (after.hosts - before.hosts) * 1000 / count, after.etcd - before.etcd);
  std::fflush(stdout);
}

bool measure(int count) {
  etcdtest::EtcdCluster cluster;
  if (!cluster.waitUntilServing()) {
    return false;
  }
  Settings settings;
  settings.members = cluster.urls();
  Hosts hosts(settings, count);
  const auto phase = [&](const char* when, auto action) {
    const auto use = [&] {
      return Use{hosts.traffic(), processorTime(getpid()), processorTime(cluster.member(0).id()), Clock::now()};
    };
    const Use before = use();
    const bool isGood = action();
    print(when, count, before, use());
    return isGood;
  };
  return phase("all start", [&] { return hosts.start(), hosts.waitUntilKnown(); }) &&
         phase("at rest", [&] { return hosts.rest(), true; }) && phase("all restart", [&] {
           hosts.stop();
           hosts.start();
           return hosts.waitUntilKnown();
         });
}

}  // namespace

int main(int argc, char** argv) {
  if (const auto reason = etcdtest::whyNoEtcd(); !reason.empty()) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    return 1;
  }
  std::vector<int> counts;
  for (int index = 1; index < argc; ++index) {
    counts.push_back(std::max(1, std::atoi(argv[index])));
  }
  if (counts.empty()) {
    counts = {10, 100};
  }
  const bool isGood = std::all_of(counts.begin(), counts.end(), measure);
  if (!isGood) {
    std::fprintf(stderr, "the hosts did not find one another in time\n");
  }
  return isGood ? 0 : 1;
}
