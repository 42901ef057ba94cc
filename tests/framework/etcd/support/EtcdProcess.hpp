#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "spf/test/addressOfThisProcess.hpp"

namespace etcdtest {

/// Returns why this machine cannot start etcd; empty if it can. A test that gets a text is skipped with it.
std::string whyNoEtcd();

/// Returns a TCP port of this process's address of the loopback network that was free just now.
int freePortHere();

using spf::test::addressOfThisProcess;

/// What a member is started with. Its ports and its folder stay the same when it is started anew.
struct EtcdOptions {
  std::string name = "single";
  std::string folder;                  ///< for its data; exists, and is removed by its owner
  std::string cluster;                 ///< as `--initial-cluster` takes it; empty for a cluster of this member alone
  std::string scheme = "http";         ///< of the client URL
  std::vector<std::string> arguments;  ///< further ones
  std::vector<std::string> controlArguments;  ///< of every call of etcdctl
  int clientPort = freePortHere();
  int peerPort = freePortHere();
};

/// One member, a process of its own. It is killed if it is still there at the end.
class EtcdProcess {
 public:
  /// Starts the member without waiting for it.
  explicit EtcdProcess(EtcdOptions options);
  ~EtcdProcess();
  EtcdProcess(const EtcdProcess&) = delete;
  EtcdProcess& operator=(const EtcdProcess&) = delete;

  /// Blocks until the member serves clients, which it does as soon as its cluster has a leader.
  /// \return false if it ends before, or does not within `patience`
  [[nodiscard]] bool waitUntilServing();

  pid_t id() const noexcept { return pid_; }
  const std::string& url() const noexcept { return url_; }
  std::string peerUrl() const;
  int clientPort() const noexcept { return options_.clientPort; }

  /// Kills the process by SIGKILL and waits for its end. Its folder stays.
  void kill();

  /// Starts a member that was killed once more, with its folder and its ports.
  void start();

  void pause();   ///< stops it by SIGSTOP: connections stay open and silent
  void resume();  ///< lets it continue

  /// Runs etcdctl with this member.
  /// \return its standard output
  /// \throws std::runtime_error with its error output if it fails
  std::string control(const std::vector<std::string>& arguments) const;

  /// Returns what the member has written to standard error, for the message of a test that fails.
  std::string log() const;

  /// Blocks until the running process has written a text so often to standard error.
  /// \return false if it ends before, or does not within `patience`
  [[nodiscard]] bool waitForLog(const std::string& text, std::size_t count = 1);

 private:
  void readLog(int descriptor);

  const EtcdOptions options_;
  const std::string url_;
  pid_t pid_ = -1;
  std::thread reader_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::string log_;
  std::size_t start_ = 0;  ///< of the running process's part of the log
  bool hasEnded_ = false;
};

}  // namespace etcdtest
