#include <functional>
#include <map>
#include <mutex>

#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include "agent/host/logging_levels.hpp"
#include "support/TestListener.hpp"

namespace {

using frameworktest::Configuration;
using frameworktest::freeAddress;
using spf::test::Gate;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

/// Hosts that are known to the tests only. A look-up calls a function of the test, then finds the address of the test's
/// process.
class Hosts {
 public:
  /// Adds a host.
  /// \param lookUp  called for each look-up with its number, from 1; returns the result of getaddrinfo
  void add(const std::string& name, const std::string& address, std::function<int(int)> lookUp) {
    const std::lock_guard<std::mutex> lock(mutex_);
    hosts_[name] = {address, std::move(lookUp), 0};
  }

  void clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    hosts_.clear();
  }

  /// Looks up a host: calls its function and replaces the name by its address. Leaves names of other hosts unchanged.
  int lookUp(std::string& name) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto host = hosts_.find(name);
    if (host == hosts_.end()) {
      return 0;
    }
    const auto act = host->second.lookUp;
    const int number = ++host->second.lookUps;
    name = host->second.address;
    lock.unlock();
    return act(number);
  }

 private:
  struct Host {
    std::string address;
    std::function<int(int)> lookUp;
    int lookUps;
  };

  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::map<std::string, Host> hosts_;
};

// Never destroyed: a look-up may end after the tests.
Hosts& hosts = *new Hosts;

/// Blocks ZeroMQ's thread when it accepts a connection.
struct Barrier {
  Gate isReached;
  Gate mayPass;
};
std::shared_ptr<Barrier> acceptBarrier;  // read and written by std::atomic_load and std::atomic_store

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// These replace the system's functions, for the transport and for ZeroMQ.
extern "C" [[gnu::visibility("default")]] int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                                                          addrinfo** found) {
  static const auto real = next<decltype(&getaddrinfo)>("getaddrinfo");
  std::string host = name == nullptr ? "" : name;
  const int result = hosts.lookUp(host);
  return result != 0 ? result : real(name == nullptr ? nullptr : host.c_str(), service, hints, found);
}

extern "C" [[gnu::visibility("default")]] int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
  static const auto real = next<int (*)(int, sockaddr*, socklen_t*, int)>("accept4");
  if (const auto barrier = std::atomic_load(&acceptBarrier)) {
    barrier->isReached.open();
    EXPECT_TRUE(barrier->mayPass.wait());
  }
  return real(descriptor, address, size, flags);
}

namespace {

std::string hostOf(const std::string& address) {
  const auto begin = address.find("://") + 3;
  return address.substr(begin, address.rfind(':') - begin);
}

std::string portOf(const std::string& address) {
  return address.substr(address.rfind(':') + 1);
}

int succeed(int) {
  return 0;
}

class ALookUp : public frameworktest::TransportFixture {
 protected:
  void TearDown() override { hosts.clear(); }

  /// Adds a host at the fixture's address, and returns the endpoint with its name.
  std::string named(const std::string& name, std::function<int(int)> lookUp) {
    hosts.add(name, hostOf(address), std::move(lookUp));
    return "tcp://" + name + ":" + portOf(address);
  }
};

TEST_F(ALookUp, FindsTheHostToConnectTo) {
  bound(address, server);
  connect(named("station.test", succeed), client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(ALookUp, FindsTheHostToBindTo) {
  bound(named("station.test", succeed), server);
  connect(address, client);
  EXPECT_TRUE(client->isOpened.wait());
}

TEST_F(ALookUp, ThatHangsDoesNotDelayOtherConnections) {
  const auto mayFinish = std::make_shared<Gate>();
  const auto where = named("slow.test", [mayFinish](int) { return mayFinish->wait() ? 0 : EAI_AGAIN; });
  const auto waiting = newListener();
  connect(where, waiting);
  connectPair();
  EXPECT_EQ(ask("question"), "answer to question");
  EXPECT_FALSE(waiting->isOpened.isOpen());
  mayFinish->open();
  EXPECT_TRUE(waiting->isOpened.wait());
}

TEST_F(ALookUp, ThatHangsDoesNotDelayACloseOrAStop) {
  const auto mayFinish = std::make_shared<Gate>();
  const auto where = named("slow.test", [mayFinish](int) { return mayFinish->wait() ? 0 : EAI_AGAIN; });
  const auto id = connect(where, client);
  close(id, client);
  const auto other = newListener();
  connect(where, other);
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_TRUE(other->isClosed.isOpen());
  mayFinish->open();
}

TEST_F(ALookUp, ThatFailsForABindIsRetried) {
  bind(named("later.test", [](int number) { return number == 1 ? EAI_NONAME : 0; }), server);
  ASSERT_TRUE(server->isWarned.wait());
  EXPECT_THAT(server->warning, AllOf(HasSubstr("'later.test'"), HasSubstr(gai_strerror(EAI_NONAME))));
  EXPECT_TRUE(server->isOpened.wait());
  EXPECT_EQ(server->openedAt, address);
}

TEST_F(ALookUp, ThatFailsForAConnectionIsRetried) {
  bound(address, server);
  connect(named("later.test", [](int number) { return number == 1 ? EAI_AGAIN : 0; }), client);
  ASSERT_TRUE(client->isWarned.wait());
  EXPECT_THAT(client->warning, AllOf(HasSubstr("'later.test'"), HasSubstr(gai_strerror(EAI_AGAIN))));
  EXPECT_TRUE(client->isOpened.wait());
}

TEST_F(ALookUp, IsRepeatedWhileThePeerIsUnreachable) {
  hosts.add("moved.test", "127.0.0.1", [&](int number) {
    if (number == 2) {
      hosts.add("moved.test", hostOf(address), succeed);
    }
    return 0;
  });
  bound(address, server);
  connect("tcp://moved.test:" + portOf(address), client);
  EXPECT_TRUE(client->isOpened.wait());
}

/// Receives the messages of the host's log.
class Messages : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
 public:
  void consume(const boost::log::record_view& record) {
    const auto message = record[boost::log::expressions::smessage];
    if (message && message->find("later.test") != std::string::npos) {
      text = message.get();
      isThere.open();
    }
  }

  Gate isThere;
  std::string text;
};

TEST_F(ALookUp, ThatFailsIsLoggedAsAWarningOfThePublisher) {
  const auto messages = boost::make_shared<Messages>();
  const auto sink = boost::make_shared<boost::log::sinks::synchronous_sink<Messages>>(messages);
  boost::log::core::get()->add_sink(sink);
  agent::host::logging::set_enabled_levels(64);
  const auto where = named("later.test", [](int) { return EAI_NONAME; });
  framework.update("client", Configuration(1).publisher("display").connect(where));
  EXPECT_TRUE(messages->isThere.wait());
  EXPECT_THAT(messages->text, AllOf(HasSubstr("'display'"), HasSubstr(gai_strerror(EAI_NONAME))));
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
  framework.bundle("spf_publishers").Stop();  // nothing is logged any longer
  agent::host::logging::set_enabled_levels(0);
  boost::log::core::get()->remove_sink(sink);
}

class AClose : public frameworktest::TransportFixture {};

TEST_F(AClose, WaitsUntilTheAddressIsFreeAndWarnsMeanwhile) {
  const auto id = bound(address, server);
  const auto barrier = std::make_shared<Barrier>();
  std::atomic_store(&acceptBarrier, barrier);
  connect(address, client);
  ASSERT_TRUE(barrier->isReached.wait());
  sut->close(id);
  ASSERT_TRUE(server->isWarned.wait());
  EXPECT_THAT(server->warning, HasSubstr(address));
  EXPECT_FALSE(server->isClosed.isOpen());
  std::atomic_store(&acceptBarrier, std::shared_ptr<Barrier>());
  barrier->mayPass.open();
  EXPECT_TRUE(server->isClosed.wait());
}

}  // namespace
