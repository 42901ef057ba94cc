#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace frameworktest {

/// Records the reports of a transport about one endpoint, and answers requests.
class TestListener : public agent::spf::frameworkinterfaces::EndpointListener {
 public:
  void opened(const std::string& where) override {
    openedAt = where;
    isOpened.open();
    openings.add();
  }
  void lost(const std::string&) override { losses.add(); }
  void warned(const std::string& what) override {
    warning = what;
    isWarned.open();
  }
  void failed(std::exception_ptr error) override {
    reason = error;
    hasFailed.open();
  }
  void closed() override { isClosed.open(); }
  std::string answer(const std::string& request, const std::string&) override {
    if (request == "refuse") {
      throw std::runtime_error("no such thing");
    }
    if (request == "throw") {
      throw 42;
    }
    if (request == "wait") {
      isWaiting.open();
      EXPECT_TRUE(mayAnswer.wait());
    }
    if (request.rfind("size ", 0) == 0) {
      return std::string(std::stoul(request.substr(5)), 'x');
    }
    if (request == "work") {
      const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(50);
      while (std::chrono::steady_clock::now() < end) {
      }
    }
    answered.add();
    return "answer to " + request;
  }

  /// Waits for the failure, and returns its reason.
  std::string failure() {
    if (!hasFailed.wait()) {
      return "did not fail";
    }
    try {
      std::rethrow_exception(reason);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  spf::test::Gate isOpened;
  spf::test::Counter openings;
  spf::test::Counter losses;
  spf::test::Gate isWarned;
  spf::test::Gate hasFailed;
  spf::test::Gate isClosed;
  spf::test::Gate isWaiting;  ///< with a request to wait, for `mayAnswer`
  spf::test::Gate mayAnswer;
  spf::test::Counter answered;
  std::string openedAt;  ///< the address of the last `opened`
  std::exception_ptr reason;
  std::string warning;
};

/// The transport of a running framework.
class TransportFixture : public testing::Test {
 protected:
  using Transport = agent::spf::frameworkinterfaces::Transport;
  using Listener = std::shared_ptr<TestListener>;

  static Listener newListener() { return std::make_shared<TestListener>(); }

  Transport::EndpointID bind(const std::string& where, const Listener& listener) {
    return sut->bind({"server", where, where}, listener);
  }

  Transport::EndpointID connect(const std::string& where, const Listener& listener) {
    return sut->connect({"client", "name", where}, listener);
  }

  /// Binds an endpoint, and waits until it listens.
  Transport::EndpointID bound(const std::string& where, const Listener& listener = newListener()) {
    const auto id = bind(where, listener);
    EXPECT_TRUE(listener->isOpened.wait()) << where;
    return id;
  }

  /// Closes an endpoint, and waits until it is closed.
  void close(Transport::EndpointID id, const Listener& listener) {
    sut->close(id);
    EXPECT_TRUE(listener->isClosed.wait());
  }

  /// Binds the server, and connects the client to it.
  void connectPair() {
    serverID = bound(address, server);
    clientID = connect(address, client);
    EXPECT_TRUE(client->isOpened.wait());
  }

  std::string ask(const std::string& request, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    return sut->ask("client", "name", request, timeout);
  }

  std::string errorOf(const std::string& request, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    try {
      ask(request, timeout);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  RunningFramework framework;
  const std::shared_ptr<Transport> sut = framework.service<Transport>();
  const std::string address = freeAddress();
  const Listener server = newListener();
  const Listener client = newListener();
  Transport::EndpointID serverID = 0;
  Transport::EndpointID clientID = 0;
};

}  // namespace frameworktest
