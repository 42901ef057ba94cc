#include "agent/spf/frameworksupport/keyNames.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace {

using agent::spf::frameworksupport::expectedKeyName;
using agent::spf::frameworksupport::isKeyName;
using agent::spf::frameworksupport::requireNoKey;
using agent::spf::frameworksupport::splitKey;

/// Returns the message of the exception that a function throws; empty if it throws none.
template <class Function>
std::string messageOf(Function function) {
  try {
    function();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

void expectSplit(const std::string& text, const std::string& address, const std::string& key) {
  const auto split = splitKey(text);
  EXPECT_EQ(split.address, address) << text;
  EXPECT_EQ(split.key, key) << text;
}

TEST(AnAddress, OfTcpMayHaveTheNameOfAKey) {
  expectSplit("tcp://127.0.0.1:5555#alice", "tcp://127.0.0.1:5555", "alice");
  expectSplit("tcp://[::1]:5555#Z.9_-", "tcp://[::1]:5555", "Z.9_-");
  expectSplit("tcp://10.0.0.1:0;host:1#a", "tcp://10.0.0.1:0;host:1", "a");
  expectSplit("tcp://h:1#" + std::string(64, 'x'), "tcp://h:1", std::string(64, 'x'));
}

TEST(AnAddress, NeedsNoNameOfAKey) {
  for (const std::string text : {"tcp://127.0.0.1:5555", "tcp://", "ipc:///tmp/x", "station", ""}) {
    expectSplit(text, text, "");
    EXPECT_NO_THROW(requireNoKey(text)) << text;
  }
}

TEST(AnAddress, OfAnotherSchemeMayContainAnyNumberSign) {
  for (const std::string text : {"ipc:///tmp/x#alice", "inproc://a#", "ipc://#", "udp://h:1#alice", "TCP://h:1#alice",
                                 "station#alice", "xtcp://h:1#.."}) {
    expectSplit(text, text, "");
    EXPECT_NO_THROW(requireNoKey(text)) << text;
  }
}

TEST(AnAddress, IsMalformedIfWhatFollowsTheNumberSignIsNoNameOfAKey) {
  for (const auto& name :
       {std::string(), std::string(".hidden"), std::string(".."), std::string("a/b"), std::string("a b"),
        std::string("a#b"), std::string("#"), std::string("alice\n"), std::string("\xc3\xa4"), std::string(65, 'x')}) {
    EXPECT_FALSE(isKeyName(name));
    const auto text = "tcp://127.0.0.1:5555#" + name;
    EXPECT_EQ(messageOf([&] { splitKey(text); }),
              "malformed endpoint '" + text + "': '" + name + "' is no name of a key; expected " + expectedKeyName);
  }
}

TEST(AnAddress, WithANulInTheNameOfAKeyIsNamedWhole) {
  EXPECT_EQ(
      messageOf([] { splitKey(std::string("tcp://h:1#a\0b", 13)); }),
      std::string("malformed endpoint 'tcp://h:1#a\\0b': 'a\\0b' is no name of a key; expected ") + expectedKeyName);
}

TEST(AnAddress, ToBindToHasNoNameOfAKey) {
  for (const std::string text : {"tcp://127.0.0.1:5555#alice", "tcp://*:*#alice", "tcp://h:1#", "tcp://h:1#a b"}) {
    EXPECT_EQ(messageOf([&] { requireNoKey(text); }),
              "malformed endpoint '" + text +
                  "': a name of a key is for connections only; expected 'tcp://<host>:<port>' to bind to");
  }
}

}  // namespace
