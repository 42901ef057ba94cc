#pragma once

#include <chrono>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include "agent/spf/etcd/Settings.hpp"
#include "etcd/support/EtcdCluster.hpp"
#include "etcd/support/EtcdProcess.hpp"
#include "etcd/support/FaultProxy.hpp"
#include "etcd/support/ObservedRegistry.hpp"

namespace etcdtest {

/// A test that needs real members.
class RealEtcd : public testing::Test {
 protected:
  static constexpr std::chrono::seconds ttl{2};

  void SetUp() override {
    if (const auto reason = whyNoEtcd(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }

  static agent::spf::etcd::Settings settings(std::vector<std::string> urls, std::chrono::seconds timeToLive = ttl) {
    agent::spf::etcd::Settings settings;
    settings.members = std::move(urls);
    settings.ttl = timeToLive;
    return settings;
  }
};

/// Measures from a fault to its healing, for the test's output.
class Healing {
 public:
  std::chrono::milliseconds elapsed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin_);
  }

  void report(const std::string& what) const { std::cout << what << ": " << elapsed().count() << " ms" << std::endl; }

 private:
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace etcdtest
