#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "spf/test/Gate.hpp"

namespace frameworktest {

/// A transport whose endpoints change their state when a test calls their listeners.
class FakeTransport : public agent::spf::frameworkinterfaces::Transport {
 public:
  using EndpointDescription = agent::spf::frameworkinterfaces::EndpointDescription;
  using EndpointListener = agent::spf::frameworkinterfaces::EndpointListener;

  EndpointID bind(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) override {
    return add(endpoint, std::move(listener));
  }
  EndpointID connect(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) override {
    return add(endpoint, std::move(listener));
  }
  void close(EndpointID endpoint) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closed_.push_back(endpoint);
    }
    this->endpoint(endpoint).closed();
  }
  std::string ask(const std::string&, const std::string&, const std::string&, std::chrono::milliseconds) override {
    throw std::runtime_error("there is no peer");
  }

  /// Waits for the endpoint with this number, counted from 1 in the order of opening.
  /// \return its listener
  EndpointListener& endpoint(std::size_t number) {
    EXPECT_TRUE(opened_.waitFor(static_cast<int>(number)));
    const std::lock_guard<std::mutex> lock(mutex_);
    return *listeners_.at(number - 1);
  }

  std::vector<std::string> addresses() const {
    std::vector<std::string> addresses;
    for (const EndpointDescription& description : descriptions()) {
      addresses.push_back(description.address);
    }
    return addresses;
  }

  /// Returns the numbers of those that were to be closed, in that order.
  std::vector<EndpointID> closed() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
  }

  /// Returns what was to be opened, in that order.
  std::vector<EndpointDescription> descriptions() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return descriptions_;
  }

 private:
  EndpointID add(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) {
    const std::lock_guard<std::mutex> lock(mutex_);
    descriptions_.push_back(endpoint);
    listeners_.push_back(std::move(listener));
    opened_.add();
    return listeners_.size();
  }

  spf::test::Counter opened_;
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::vector<std::shared_ptr<EndpointListener>> listeners_;
  std::vector<EndpointDescription> descriptions_;
  std::vector<EndpointID> closed_;
};

}  // namespace frameworktest
