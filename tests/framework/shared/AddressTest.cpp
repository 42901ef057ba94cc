#include "agent/spf/frameworksupport/Address.hpp"

#include <stdexcept>

#include <gmock/gmock.h>

namespace {

using agent::spf::frameworksupport::Address;
using agent::spf::frameworksupport::hasUnresolvedHost;
using agent::spf::frameworksupport::InterfaceNames;
using agent::spf::frameworksupport::mayCollide;
using agent::spf::frameworksupport::parseAddress;
using agent::spf::frameworksupport::placeOf;
using agent::spf::frameworksupport::toZeroMq;

bool isCollision(const char* left, const char* right) {
  const auto one = placeOf(parseAddress(left));
  const auto other = placeOf(parseAddress(right));
  const bool result = one && other && mayCollide(*one, *other);
  EXPECT_EQ(result, one && other && mayCollide(*other, *one)) << left << " and " << right;
  return result;
}

TEST(Addresses, CollideWhenTheirPortsAreEqualAndTheirHostsOverlap) {
  for (const auto& [left, right] : {std::pair{"tcp://127.0.0.1:1", "tcp://127.0.0.1:1"},
                                    {"tcp://127.0.0.1:1", "tcp://127.0.0.1:01"},
                                    {"tcp://127.0.0.1:1", "tcp://*:1"},
                                    {"tcp://127.0.0.1:1", "tcp://0.0.0.0:1"},
                                    {"tcp://127.0.0.1:1", "tcp://[::]:1"},
                                    {"tcp://127.0.0.1:1", "tcp://[::ffff:127.0.0.1]:1"},
                                    {"tcp://[::1]:1", "tcp://::1:1"},
                                    {"tcp://[::1]:1", "tcp://[0:0:0:0:0:0:0:1]:1"},
                                    {"tcp://[::1]:1", "tcp://[*]:1"},
                                    {"tcp://*:1", "tcp://[::]:1"},
                                    {"tcp://127.0.0.1:1", "tcp://eth0:1"},
                                    {"ipc:///tmp/x", "ipc:///tmp//x"},
                                    {"ipc:///tmp/x", "ipc:///tmp/./x"},
                                    {"ipc://@x", "ipc://@x"},
                                    {"inproc://x", "inproc://x"}}) {
    EXPECT_TRUE(isCollision(left, right)) << left << " and " << right;
  }
}

TEST(Addresses, DoNotCollideOtherwise) {
  for (const auto& [left, right] : {std::pair{"tcp://127.0.0.1:1", "tcp://127.0.0.1:2"},
                                    {"tcp://127.0.0.1:1", "tcp://127.0.0.2:1"},
                                    {"tcp://*:1", "tcp://*:2"},
                                    {"tcp://*:1", "tcp://[::1]:1"},
                                    {"tcp://127.0.0.1:1", "tcp://[::1]:1"},
                                    {"tcp://127.0.0.1:*", "tcp://127.0.0.1:*"},
                                    {"tcp://127.0.0.1:0", "tcp://127.0.0.1:*"},
                                    {"ipc://*", "ipc://*"},
                                    {"ipc:///tmp/x", "ipc:///tmp/y"},
                                    {"ipc://@x", "ipc://x"},
                                    {"ipc://x", "inproc://x"},
                                    {"inproc://x", "inproc://./x"}}) {
    EXPECT_FALSE(isCollision(left, right)) << left << " and " << right;
  }
}

TEST(Addresses, NeedALookUpUnlessTheirHostIsANumber) {
  for (const auto* text :
       {"tcp://127.0.0.1:1", "tcp://[::1]:1", "tcp://[fe80::1%lo]:1", "tcp://*:1", "ipc://host", "inproc://host"}) {
    EXPECT_FALSE(hasUnresolvedHost(parseAddress(text), InterfaceNames::unknown)) << text;
  }
  EXPECT_TRUE(hasUnresolvedHost(parseAddress("tcp://localhost:1"), InterfaceNames::usable));
  EXPECT_FALSE(hasUnresolvedHost(parseAddress("tcp://lo:1"), InterfaceNames::usable));
  EXPECT_TRUE(hasUnresolvedHost(parseAddress("tcp://lo:1"), InterfaceNames::unknown));
}

TEST(Addresses, AreSpelledForZeroMq) {
  EXPECT_EQ(toZeroMq(parseAddress("tcp://127.0.0.1:0")), "tcp://127.0.0.1:*");
  EXPECT_EQ(toZeroMq(parseAddress("tcp://::1:7")), "tcp://[::1]:7");
  EXPECT_EQ(toZeroMq(parseAddress("tcp://127.0.0.1:5;127.0.0.2:6")), "tcp://127.0.0.1:5;127.0.0.2:6");
  EXPECT_EQ(toZeroMq(parseAddress("ipc://@x")), "ipc://@x");
  EXPECT_NE(toZeroMq(parseAddress("inproc://x")), "inproc://x");
}

TEST(Addresses, AreRefusedWithTheReason) {
  for (const auto* text : {"", "tcp", "tcp://", "://x", "tcp://:1", "tcp://host", "tcp://host:!", "tcp://host:65536"}) {
    EXPECT_THROW(parseAddress(text), std::runtime_error) << text;
  }
}

}  // namespace
