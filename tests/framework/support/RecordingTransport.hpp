#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/frameworkinterfaces/Transport.hpp"

namespace frameworktest {

/// Passes everything on to another transport, and records what is opened and closed, as lines of text:
///
///     bind <owner> <name>         connect, close alike
///
/// Can hold requests to close back, as if an address took long to become free. Any thread may call any member.
class RecordingTransport : public agent::spf::frameworkinterfaces::Transport {
 public:
  using Description = agent::spf::frameworkinterfaces::EndpointDescription;
  using Listener = std::shared_ptr<agent::spf::frameworkinterfaces::EndpointListener>;

  explicit RecordingTransport(std::shared_ptr<Transport> transport) : transport_(std::move(transport)) {}

  EndpointID bind(const Description& endpoint, Listener listener) override {
    const EndpointID id = transport_->bind(endpoint, std::move(listener));
    note("bind ", id, endpoint);
    return id;
  }

  EndpointID connect(const Description& endpoint, Listener listener) override {
    const EndpointID id = transport_->connect(endpoint, std::move(listener));
    note("connect ", id, endpoint);
    return id;
  }

  void close(EndpointID endpoint) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back("close " + names_[endpoint]);
      if (isHolding_) {
        held_.push_back(endpoint);
        return;
      }
    }
    transport_->close(endpoint);
  }

  std::string ask(const std::string& owner, const std::string& name, const std::string& request,
                  std::chrono::milliseconds timeout) override {
    return transport_->ask(owner, name, request, timeout);
  }

  /// Holds back every later request to close, until `release`.
  void hold() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isHolding_ = true;
  }

  void release() {
    std::vector<EndpointID> held;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      isHolding_ = false;
      held.swap(held_);
    }
    for (const EndpointID endpoint : held) {
      transport_->close(endpoint);
    }
  }

  /// Returns the lines since the last call.
  std::vector<std::string> takeLines() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  void note(const char* operation, EndpointID id, const Description& endpoint) {
    const std::lock_guard<std::mutex> lock(mutex_);
    names_[id] = endpoint.owner + " " + endpoint.name;
    lines_.push_back(operation + names_[id]);
  }

  const std::shared_ptr<Transport> transport_;
  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::map<EndpointID, std::string> names_;
  std::vector<std::string> lines_;
  std::vector<EndpointID> held_;
  bool isHolding_ = false;
};

}  // namespace frameworktest
