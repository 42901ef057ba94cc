#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "EndToEnd.hpp"
#include "spf/test/Gate.hpp"
#include "support/NotificationSocket.hpp"

namespace spf::test {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Messages = std::vector<std::string>;

void notify(const std::string& path, const std::string& message) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  const int client = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sendto(client, message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  close(client);
}

/// A service manager: reads what it is notified of all the while, since a notification blocks when nobody does.
class Manager {
 public:
  explicit Manager(const std::string& path) : path_(path), socket_(path) {
    if (pipe2(ending_, O_CLOEXEC) != 0) {
      throw std::runtime_error("cannot open a pipe");
    }
    thread_ = std::thread([this] { read(); });
  }
  ~Manager() {
    close(ending_[1]);
    thread_.join();
    close(ending_[0]);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  Messages messages() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return messages_;
  }
  std::size_t count() const { return messages().size(); }

  /// Returns how many messages were sent before this call.
  std::size_t countAll() {
    const auto mark = "mark " + std::to_string(++marks_);
    notify(path_, mark);
    return waitFor(0, mark);
  }

  /// Waits for a message that follows the first ones and begins with one text and holds another one.
  /// \return how many messages there are up to that one; 0 if it does not come
  std::size_t waitFor(std::size_t first, const std::string& begin, const std::string& part = "") {
    std::unique_lock<std::mutex> lock(mutex_);
    std::size_t found = 0;
    const auto isThere = [&] {
      const auto message = std::find_if(
          messages_.begin() + static_cast<std::ptrdiff_t>(first), messages_.end(), [&](const std::string& candidate) {
            return candidate.rfind(begin, 0) == 0 && candidate.find(part) != std::string::npos;
          });
      found = message == messages_.end() ? 0 : static_cast<std::size_t>(message - messages_.begin()) + 1;
      return found != 0;
    };
    arrived_.wait_for(lock, patience, isThere);
    return found;
  }

  /// Returns the messages about the phases of the host, in their order, without the time of a reload.
  Messages phases() const {
    Messages phases;
    for (const auto& message : messages()) {
      const auto name = message.substr(0, message.find('\n'));
      if (name == "READY=1" || name == "RELOADING=1" || name == "STOPPING=1") {
        phases.push_back(name);
      }
    }
    return phases;
  }

 private:
  void read() {
    pollfd channels[] = {{socket_.descriptor(), POLLIN, 0}, {ending_[0], POLLIN, 0}};
    while (poll(channels, 2, -1) > 0 && channels[1].revents == 0) {
      const auto received = socket_.received();
      const std::lock_guard<std::mutex> lock(mutex_);
      messages_.insert(messages_.end(), received.begin(), received.end());
      arrived_.notify_all();
    }
  }

  const std::string path_;
  int marks_ = 0;
  NotificationSocket socket_;
  int ending_[2] = {-1, -1};
  mutable std::mutex mutex_;
  std::condition_variable arrived_;

  // Guarded by `mutex_`:
  Messages messages_;

  std::thread thread_;
};

class ASupervisedHost : public EndToEnd {
 protected:
  static constexpr auto interval = "WATCHDOG_USEC=200000";

  ASupervisedHost() : managerPath_((workspace_.path() / "notify").string()), manager_(managerPath_) {}

  Arguments supervised(const Arguments& command, Arguments more = {}) const {
    more.insert(more.end(), {"NOTIFY_SOCKET=" + managerPath_, interval});
    return withEnvironment(more, command);
  }
  Configuration configuration(const Configuration::Texts& connect = {}) const {
    return Configuration("x").publisher("p", {endpoint_}, connect);
  }

  const std::string endpoint_ = freeEndpoint();
  const std::string managerPath_;
  Manager manager_;
};

TEST_F(ASupervisedHost, IsReadyWhenItsPeerIsThereAndNotBefore) {
  const auto peerEndpoint = freeEndpoint();
  Process process(supervised(host(write("x.json", configuration({peerEndpoint})))));
  ASSERT_TRUE(manager_.waitFor(0, "STATUS=waiting; p: ", "to connect " + peerEndpoint));
  ASSERT_TRUE(manager_.waitFor(manager_.count(), "WATCHDOG=1")) << "it is alive while it waits";
  EXPECT_THAT(manager_.phases(), testing::IsEmpty());
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {peerEndpoint}))));
  ASSERT_TRUE(manager_.waitFor(0, "READY=1"));
  ASSERT_TRUE(manager_.waitFor(0, "STATUS=ready"));
  end(process);
  end(peer);
  ASSERT_TRUE(manager_.waitFor(0, "STATUS=withdrawing"));
  EXPECT_THAT(manager_.phases(), ElementsAre("READY=1", "STOPPING=1"));
}

TEST_F(ASupervisedHost, IsNeverReadyWhenItsPeerDoesNotCome) {
  Process process(supervised(host(write("x.json", configuration({freeEndpoint()})), {"--timeout", "300ms"})));
  EXPECT_EQ(process.wait(), 4);
  ASSERT_TRUE(manager_.waitFor(0, "STOPPING=1"));
  EXPECT_THAT(manager_.phases(), ElementsAre("STOPPING=1"));
}

TEST_F(ASupervisedHost, IsReloadingDuringAnApply) {
  const auto peerEndpoint = freeEndpoint();
  Process process(supervised(host(write("x.json", configuration()))));
  const auto ready = manager_.waitFor(0, "READY=1");
  ASSERT_TRUE(ready);
  Process apply(client({"apply", "x", write("next.json", configuration({peerEndpoint}))}));
  const auto reloading = manager_.waitFor(ready, "RELOADING=1\nMONOTONIC_USEC=");
  ASSERT_TRUE(reloading);
  const auto waiting = manager_.waitFor(reloading, "STATUS=waiting; p: ", "to connect " + peerEndpoint);
  ASSERT_TRUE(waiting);
  EXPECT_THAT(manager_.phases(), ElementsAre("READY=1", "RELOADING=1"));
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {peerEndpoint}))));
  EXPECT_EQ(apply.wait(), 0) << apply.err();
  ASSERT_TRUE(manager_.waitFor(waiting, "READY=1"));
  end(process);
  end(peer);
  ASSERT_TRUE(manager_.waitFor(0, "STOPPING=1"));
  EXPECT_THAT(manager_.phases(), ElementsAre("READY=1", "RELOADING=1", "READY=1", "STOPPING=1"));
}

TEST_F(ASupervisedHost, IsReloadingAfterSIGHUPAndReadyAgainEvenIfItCannot) {
  Process process(supervised(host(write("x.json", configuration()))));
  const auto ready = manager_.waitFor(0, "READY=1");
  ASSERT_TRUE(ready);
  write("x.json", configuration().publisher("q", {freeEndpoint()}));
  process.signal(SIGHUP);
  const auto reloading = manager_.waitFor(ready, "RELOADING=1");
  ASSERT_TRUE(reloading);
  ASSERT_TRUE(manager_.waitFor(reloading, "READY=1"));
  write("x.json", configuration().publisher("q", {"tcp://127.0.0.1:port"}));
  process.signal(SIGHUP);
  ASSERT_TRUE(manager_.waitFor(reloading, "STATUS=failed; q: failed: "));
  end(process);
  ASSERT_TRUE(manager_.waitFor(0, "STOPPING=1"));
  EXPECT_THAT(manager_.phases(),
              ElementsAre("READY=1", "RELOADING=1", "READY=1", "RELOADING=1", "READY=1", "STOPPING=1"));
}

TEST_F(ASupervisedHost, StopsWhenAClientWithdrawsIt) {
  Process process(supervised(host(write("x.json", configuration()))));
  ASSERT_TRUE(manager_.waitFor(0, "READY=1"));
  EXPECT_EQ(codeOf({"withdraw", "x"}), 0);
  EXPECT_EQ(process.wait(), 0);
  ASSERT_TRUE(manager_.waitFor(0, "STOPPING=1"));
  EXPECT_THAT(manager_.phases(), ElementsAre("READY=1", "STOPPING=1"));
}

TEST_F(ASupervisedHost, ShowsNoLifeWhileItHangs) {
  Process process(supervised(host(write("x.json", configuration()))));
  ASSERT_TRUE(manager_.waitFor(0, "WATCHDOG=1"));
  ASSERT_TRUE(manager_.waitFor(0, "READY=1"));
  ASSERT_TRUE(manager_.waitFor(manager_.count(), "WATCHDOG=1"));
  process.signal(SIGSTOP);
  siginfo_t information{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(process.id()), &information, WSTOPPED), 0);
  const auto stopped = manager_.countAll();
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready", "--timeout", "700ms"}), 4);
  EXPECT_EQ(manager_.countAll(), stopped + 1) << "the second mark is all that follows the first one";
  process.signal(SIGCONT);
  ASSERT_TRUE(manager_.waitFor(stopped, "WATCHDOG=1"));
  end(process);
}

class ASupervisedHostWithABlockingListener : public ASupervisedHost {
 protected:
  ASupervisedHostWithABlockingListener() : barrier_((workspace_.path() / "barrier").string()), root_(makeTree()) {
    addBundle(BLOCKING_BUNDLE);
  }
  Arguments blockingHost() const {
    return supervised(host(write("x.json", configuration()), {"--root", root_}),
                      {"SPFCTL_TEST_BARRIER=" + barrier_.file()});
  }
  // A client waits in vain for several of the watchdog's intervals.
  void expectNoSignOfLife(std::size_t first) {
    EXPECT_EQ(codeOf({"status", "x", "--wait", "ready", "--timeout", "700ms"}), 4);
    const auto messages = manager_.messages();
    EXPECT_THAT(Messages(messages.begin() + static_cast<std::ptrdiff_t>(first), messages.end()),
                Not(Contains("WATCHDOG=1")));
  }

  Barrier barrier_;
  const std::string root_;
};

TEST_F(ASupervisedHostWithABlockingListener, ShowsNoLifeAndNamesTheControllerUntilTheListenerReturns) {
  Process process(blockingHost());
  const auto ready = manager_.waitFor(0, "READY=1");
  ASSERT_TRUE(ready);
  ASSERT_TRUE(manager_.waitFor(ready, "WATCHDOG=1"));
  barrier_.raise();
  Process apply(client({"apply", "x", write("next.json", configuration().publisher("q", {freeEndpoint()}))}));
  const auto named = manager_.waitFor(ready, "STATUS=", "no sign of life from controller");
  ASSERT_TRUE(named);
  expectNoSignOfLife(named);
  barrier_.lower();
  ASSERT_TRUE(manager_.waitFor(named, "WATCHDOG=1"));
  EXPECT_EQ(apply.wait(), 0) << apply.err();
  ASSERT_TRUE(manager_.waitFor(named, "STATUS=ready"));
  EXPECT_THAT(manager_.messages().back(), Not(HasSubstr("no sign of life")));
  end(process);
}

TEST_F(ASupervisedHostWithABlockingListener, IsNotReadyAndShowsNoLifeIfItBlocksFromTheBeginning) {
  barrier_.raise();
  Process process(blockingHost());
  const auto named = manager_.waitFor(0, "STATUS=waiting", "no sign of life from controller");
  ASSERT_TRUE(named);
  expectNoSignOfLife(named);
  EXPECT_THAT(manager_.phases(), testing::IsEmpty());
  barrier_.lower();
  ASSERT_TRUE(manager_.waitFor(named, "WATCHDOG=1"));
  ASSERT_TRUE(manager_.waitFor(named, "READY=1"));
  end(process);
}

TEST_F(ASupervisedHostWithABlockingListener, StopsAllTheSame) {
  Process process(blockingHost());
  ASSERT_TRUE(manager_.waitFor(0, "READY=1"));
  barrier_.raise();
  process.signal(SIGTERM);
  ASSERT_TRUE(manager_.waitFor(0, "STOPPING=1"));
  ASSERT_TRUE(manager_.waitFor(0, "STATUS=withdrawing"));
  barrier_.lower();
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_THAT(process.out(), HasSubstr("withdrawn\n"));
}

class AHostWhoseManagerIsGone : public EndToEnd {};

TEST_F(AHostWhoseManagerIsGone, WorksAsWithoutOne) {
  Process process(withEnvironment({"NOTIFY_SOCKET=" + (workspace_.path() / "gone").string(), "WATCHDOG_USEC=100000"},
                                  host(write("x.json", Configuration("x").publisher("p", {freeEndpoint()})))));
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready"}), 0);
  end(process);
}

}  // namespace spf::test
