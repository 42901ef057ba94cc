#include <cerrno>
#include <functional>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include "agent/host/logging_levels.hpp"
#include "support/StatusWatch.hpp"
#include "support/TestListener.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::StatusWatch;
using spf::test::Gate;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using Phase = EndpointState::Phase;

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

/// Addresses to which every connection fails, with the system's errors.
class Faults {
 public:
  void add(const std::string& host, int error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    errors_[host] = error;
  }

  void clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    errors_.clear();
  }

  /// Returns the error of a connection to an address; 0 if it is to succeed.
  int of(const sockaddr* address) {
    char host[INET_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET) {
      inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, host, sizeof(host));
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = errors_.find(host);
    return found == errors_.end() ? 0 : found->second;
  }

 private:
  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::map<std::string, int> errors_;
};

Faults& connectFaults = *new Faults;
Faults& bindFaults = *new Faults;

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

extern "C" [[gnu::visibility("default")]] int connect(int descriptor, const sockaddr* address, socklen_t size) {
  static const auto real = next<decltype(&connect)>("connect");
  if (const int error = connectFaults.of(address)) {
    errno = error;
    return -1;
  }
  return real(descriptor, address, size);
}

extern "C" [[gnu::visibility("default")]] int bind(int descriptor, const sockaddr* address, socklen_t size) {
  static const auto real = next<decltype(&bind)>("bind");
  if (const int error = bindFaults.of(address)) {
    errno = error;
    return -1;
  }
  return real(descriptor, address, size);
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
  void TearDown() override {
    hosts.clear();
    connectFaults.clear();
    bindFaults.clear();
  }

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

/// A look-up, as the status of a publisher's endpoint shows it.
class AnEndpointThatIsLookedUp : public ALookUp {
 protected:
  void update(const std::string& publisher, const Configuration& configuration) {
    framework.update(publisher, configuration);
  }

  StatusWatch status{framework.service<EndpointStatus>()};
};

TEST_F(AnEndpointThatIsLookedUp, IsUnresolvedWithTheReasonUntilItsNameIsKnown) {
  const auto mayKnow = std::make_shared<Gate>();
  const auto isLater = [mayKnow](int number) { return number == 1 ? EAI_NONAME : (mayKnow->wait() ? 0 : EAI_AGAIN); };
  const auto expectUnresolved = [this](const std::string& publisher, const std::string& where) {
    const EndpointState state = status.waitFor(publisher, Phase::unresolved, gai_strerror(EAI_NONAME));
    EXPECT_EQ(state.endpoint, where);
    EXPECT_EQ(state.address, "");
    EXPECT_EQ(state.tries, 0u);
  };
  const auto bound = named("bound.test", isLater);
  const auto connected = named("connected.test", isLater);
  update("station", Configuration(1).publisher("station").bind(bound));
  update("display", Configuration(1).publisher("display").connect(connected));
  expectUnresolved("station", bound);
  expectUnresolved("display", connected);
  mayKnow->open();
  for (const auto* publisher : {"station", "display"}) {
    const EndpointState state = status.waitFor(publisher, Phase::up);
    EXPECT_EQ(state.address, address) << publisher;
    EXPECT_EQ(state.reason, "") << publisher;
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AnEndpointThatIsLookedUp, HoldsUpNoOtherOneOfItsPublisher) {
  const auto mayFinish = std::make_shared<Gate>();
  const auto slow = named("slow.test", [mayFinish](int) { return mayFinish->wait() ? 0 : EAI_AGAIN; });
  const auto quick = named("quick.test", succeed);
  update("station", Configuration(1).publisher("station").bind(address));
  update("display", Configuration(1).publisher("display").connect(slow).connect(quick).connect(address));
  const auto haveQuickOnes = [](Phase phaseOfSlow) {
    return [phaseOfSlow](const std::vector<EndpointState>& states) {
      return states.size() == 3 && states[0].phase == phaseOfSlow && states[1].phase == Phase::up &&
             states[2].phase == Phase::up;
    };
  };
  EXPECT_TRUE(status.waitForAll("display", haveQuickOnes(Phase::unresolved)));
  mayFinish->open();
  EXPECT_TRUE(status.waitForAll("display", haveQuickOnes(Phase::up)));
}

TEST_F(AnEndpointThatIsLookedUp, IsLookedUpAgainWhileItIsLost) {
  const auto where = named("moved.test", succeed);
  update("station", Configuration(1).publisher("station").bind(address));
  update("display", Configuration(1).publisher("display").connect(where));
  EXPECT_EQ(status.waitFor("display", Phase::up).address, address);
  hosts.add("moved.test", hostOf(address), [](int) { return EAI_FAIL; });
  framework.remove("station");
  const EndpointState lost = status.waitFor("display", Phase::lost, gai_strerror(EAI_FAIL));
  EXPECT_EQ(lost.address, address);
  hosts.add("moved.test", "127.0.0.1", succeed);
  ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
  const auto moved = "tcp://127.0.0.1:" + portOf(address);
  update("next", Configuration(1).publisher("next").bind(moved));
  EXPECT_EQ(status.waitFor("display", Phase::up).address, moved);
}

TEST_F(AnEndpointThatIsLookedUp, IsTriedAgainWhileTheNetworkIsUnreachable) {
  connectFaults.add(hostOf(address), EHOSTUNREACH);
  update("station", Configuration(1).publisher("station").bind(address));
  update("display", Configuration(1).publisher("display").connect(address));
  const EndpointState state = status.waitFor(
      "display", [](const EndpointState& shown) { return shown.reason == "No route to host" && shown.tries >= 3; });
  EXPECT_EQ(state.phase, Phase::opening);
  connectFaults.clear();
  EXPECT_EQ(status.waitFor("display", Phase::up).reason, "");
}

TEST_F(AnEndpointThatIsLookedUp, IsRefusedIfTheSystemForbidsTheConnection) {
  connectFaults.add(hostOf(address), EACCES);
  update("display", Configuration(1).publisher("display").connect(address));
  EXPECT_THAT(framework.events().waitFor("error display#1"), AllOf(HasSubstr(address), HasSubstr("Permission denied")));
  EXPECT_EQ(status.of("display").at(0).phase, Phase::refused);
  EXPECT_THAT(status.of("display").at(0).reason, HasSubstr("Permission denied"));
}

TEST_F(AnEndpointThatIsLookedUp, IsRefusedIfTheSystemForbidsTheAddress) {
  for (const int error : {EACCES, EADDRNOTAVAIL, EADDRINUSE}) {
    bindFaults.add(hostOf(address), error);
    const auto id = "station" + std::to_string(error);
    update(id, Configuration(1).publisher(id).bind(address));
    const auto text = std::generic_category().message(error);
    EXPECT_THAT(framework.events().waitFor("error " + id), AllOf(HasSubstr(address), HasSubstr(text)));
    EXPECT_EQ(status.of(id).at(0).phase, Phase::refused);
    EXPECT_THAT(status.of(id).at(0).reason, HasSubstr(text));
    EXPECT_EQ(status.of(id).at(0).tries, 1u);
  }
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
