#include <deque>
#include <stdexcept>
#include <string>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <netinet/in.h>
#include "reachableAddress.hpp"

namespace {

using spf::publishers::advertisedHost;
using spf::publishers::reachableAddress;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

/// A made-up list of the machine's addresses.
class Interfaces {
 public:
  Interfaces() = default;
  Interfaces(const Interfaces&) = delete;
  Interfaces& operator=(const Interfaces&) = delete;

  Interfaces& add(const std::string& host, unsigned int flags = IFF_UP) {
    auto& entry = entries_.emplace_back();
    entry.list.ifa_flags = flags;
    if (inet_pton(AF_INET, host.c_str(), &entry.four.sin_addr) == 1) {
      entry.four.sin_family = AF_INET;
      entry.list.ifa_addr = reinterpret_cast<sockaddr*>(&entry.four);
    } else if (inet_pton(AF_INET6, host.c_str(), &entry.six.sin6_addr) == 1) {
      entry.six.sin6_family = AF_INET6;
      entry.list.ifa_addr = reinterpret_cast<sockaddr*>(&entry.six);
    } else {
      throw std::invalid_argument(host);
    }
    return link();
  }

  /// Adds an interface without an address.
  Interfaces& addNone() {
    entries_.emplace_back().list.ifa_flags = IFF_UP;
    return link();
  }

  /// Adds an interface with an address of its hardware.
  Interfaces& addOther() {
    auto& entry = entries_.emplace_back();
    entry.list.ifa_flags = IFF_UP;
    entry.four.sin_family = AF_UNIX;
    entry.list.ifa_addr = reinterpret_cast<sockaddr*>(&entry.four);
    return link();
  }

  const ifaddrs* list() const { return entries_.empty() ? nullptr : &entries_.front().list; }

 private:
  struct Entry {
    ifaddrs list{};
    sockaddr_in four{};
    sockaddr_in6 six{};
  };

  Interfaces& link() {
    if (entries_.size() > 1) {
      entries_[entries_.size() - 2].list.ifa_next = &entries_.back().list;
    }
    return *this;
  }

  std::deque<Entry> entries_;
};

std::string reachable(const std::string& bound, const Interfaces& interfaces = {}, const std::string& advertised = "") {
  return reachableAddress(bound, advertised, interfaces.list()).value_or("none");
}

TEST(AReachableAddress, IsTheBoundOne) {
  Interfaces interfaces;
  interfaces.add("192.0.2.1");
  EXPECT_EQ(reachable("tcp://127.0.0.1:5", interfaces), "tcp://127.0.0.1:5");
  EXPECT_EQ(reachable("tcp://[::1]:5", interfaces), "tcp://[::1]:5");
  EXPECT_EQ(reachable("tcp://[2001:db8::1]:65535", interfaces), "tcp://[2001:db8::1]:65535");
}

TEST(AReachableAddress, HasTheAdvertisedHostIfThereIsOne) {
  Interfaces interfaces;
  interfaces.add("192.0.2.1");
  EXPECT_EQ(reachable("tcp://127.0.0.1:5", interfaces, "station"), "tcp://station:5");
  EXPECT_EQ(reachable("tcp://0.0.0.0:5", interfaces, "[2001:db8::1]"), "tcp://[2001:db8::1]:5");
}

TEST(AReachableAddress, IsNoneForOtherSchemes) {
  EXPECT_EQ(reachable("ipc:///tmp/x"), "none");
  EXPECT_EQ(reachable("inproc://x", {}, "station"), "none");
  EXPECT_EQ(reachable("udp://127.0.0.1:5"), "none");
  EXPECT_EQ(reachable("babble"), "none");
}

TEST(AReachableAddress, OfAWildcardIsTheFirstOneThatOthersReach) {
  Interfaces interfaces;
  interfaces.addNone()
      .addOther()
      .add("127.0.0.1", IFF_UP | IFF_LOOPBACK)
      .add("192.0.2.9", IFF_UP | IFF_LOOPBACK)
      .add("127.0.0.2")
      .add("0.0.0.0")
      .add("169.254.3.4")
      .add("192.0.2.8", 0)
      .add("2001:db8::1")
      .add("192.0.2.1")
      .add("192.0.2.2");
  EXPECT_EQ(reachable("tcp://0.0.0.0:5", interfaces), "tcp://192.0.2.1:5");
  EXPECT_EQ(reachable("tcp://[::]:5", interfaces), "tcp://[2001:db8::1]:5");
}

TEST(AReachableAddress, OfAWildcardForBothFamiliesIsTheFirstOneOfEither) {
  EXPECT_EQ(reachable("tcp://[::]:5", Interfaces().add("192.0.2.1").add("2001:db8::1")), "tcp://192.0.2.1:5");
  Interfaces local;
  local.add("::1").add("::").add("fe80::1").add("febf::1").add("fd00::1");
  EXPECT_EQ(reachable("tcp://[::]:5", local), "tcp://[fd00::1]:5");
}

TEST(AReachableAddress, OfAWildcardIsOfItsFamily) {
  EXPECT_EQ(reachable("tcp://0.0.0.0:5", Interfaces().add("2001:db8::1")), "tcp://127.0.0.1:5");
}

TEST(AReachableAddress, OfAWildcardIsLoopbackWithoutANetwork) {
  EXPECT_EQ(reachable("tcp://0.0.0.0:5"), "tcp://127.0.0.1:5");
  EXPECT_EQ(reachable("tcp://*:5"), "tcp://127.0.0.1:5");
  EXPECT_EQ(reachable("tcp://[::]:5"), "tcp://[::1]:5");
  EXPECT_EQ(reachable("tcp://[::]:5", Interfaces().add("127.0.0.1", IFF_UP | IFF_LOOPBACK).add("fe80::1")),
            "tcp://[::1]:5");
}

TEST(AReachableAddress, OfAWildcardIsOneOfThisMachine) {
  const auto address = reachableAddress("tcp://0.0.0.0:5", "");
  ASSERT_TRUE(address.has_value());
  EXPECT_THAT(*address, MatchesRegex("tcp://[1-9][0-9.]+:5"));
}

TEST(AnAdvertisedHost, IsANameOrANumber) {
  EXPECT_EQ(advertisedHost("station"), "station");
  EXPECT_EQ(advertisedHost("my_station-1.example"), "my_station-1.example");
  EXPECT_EQ(advertisedHost("192.0.2.1"), "192.0.2.1");
}

TEST(AnAdvertisedHost, OfIPv6GetsBrackets) {
  EXPECT_EQ(advertisedHost("2001:db8::1"), "[2001:db8::1]");
  EXPECT_EQ(advertisedHost("[2001:db8::1]"), "[2001:db8::1]");
}

TEST(AnAdvertisedHost, IsRefusedIfPeersCannotConnectToIt) {
  for (const auto* host :
       {"", "*", "[*]", "0.0.0.0", "::", "[::]", "a:5", "a b", "tcp://a", "[a]", "[]", "fe80::1%1"}) {
    try {
      advertisedHost(host);
      ADD_FAILURE() << host;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), AllOf(HasSubstr("'" + std::string(host) + "'"), HasSubstr("expected")));
    }
  }
}

TEST(AnAdvertisedHost, IsShownWithoutNULs) {
  try {
    advertisedHost(std::string("a\0b", 3));
    ADD_FAILURE();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("'a\\0b'"));
  }
}

}  // namespace
