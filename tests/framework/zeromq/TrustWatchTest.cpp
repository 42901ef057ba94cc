#include "TrustWatch.hpp"

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include "agent/spf/security/SecretKey.hpp"
#include "spf/test/Gate.hpp"
#include "support/TemporaryFolder.hpp"

namespace {

using agent::spf::security::SecretKey;
using agent::spf::security::TrustedKeys;
using agent::spf::security::TrustFolder;
using spf::zeromq::TrustWatch;

class ATrustWatch : public testing::Test {
 protected:
  std::shared_ptr<TrustFolder> open(std::function<void(const std::string&)> warning = nullptr) const {
    return std::make_shared<TrustFolder>(folder.path(), std::move(warning));
  }

  void trust(const std::string& name) const {
    const auto draft = folder.path() + "/." + name;
    std::ofstream(draft) << SecretKey::generate().publicKey().text();
    chmod(draft.c_str(), 0644);
    std::filesystem::rename(draft, folder.path() + "/" + name + ".pub");
  }

  /// Records a call of the watch.
  void record(std::uint64_t request, const std::shared_ptr<const TrustedKeys>& keys) {
    const std::lock_guard<std::mutex> lock(mutex);
    latest = request;
    latestKeys = keys;
    changed.notify_all();
  }

  TrustWatch::Handler handler() {
    return [this](std::uint64_t request, const auto& keys) { record(request, keys); };
  }

  /// Waits for a call. \return whether it comes
  bool waitFor(const std::function<bool()>& condition) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, spf::test::patience, condition);
  }

  bool knows(const std::string& name) const { return latestKeys && latestKeys->find(name) != nullptr; }

  const frameworktest::TemporaryFolder folder;
  std::mutex mutex;
  std::condition_variable changed;
  std::uint64_t latest = 0;
  std::shared_ptr<const TrustedKeys> latestKeys;
};

TEST_F(ATrustWatch, FindsNewKeysWithoutARequest) {
  TrustWatch sut(open(), handler());
  trust("alice");
  EXPECT_TRUE(waitFor([&] { return knows("alice"); }));
  EXPECT_EQ(latest, 0U);
}

TEST_F(ATrustWatch, FulfilsRequestsInTheirOrder) {
  TrustWatch sut(open(), handler());
  EXPECT_EQ(sut.request(), 1U);
  EXPECT_EQ(sut.request(), 2U);
  EXPECT_TRUE(waitFor([&] { return latest == 2; }));
}

// A key that is removed before the request must not be in the keys that fulfil it, and one that is put there must.
TEST_F(ATrustWatch, ReadsTheFolderAfterEachRequest) {
  TrustWatch sut(open(), handler());
  for (int round = 0; round < 20; ++round) {
    trust("alice");
    const auto there = sut.request();
    EXPECT_TRUE(waitFor([&] { return latest >= there; }));
    EXPECT_TRUE(knows("alice"));
    std::filesystem::remove(folder.path() + "/alice.pub");
    const auto gone = sut.request();
    EXPECT_TRUE(waitFor([&] { return latest >= gone; }));
    EXPECT_FALSE(knows("alice"));
  }
}

TEST_F(ATrustWatch, ReportsAgainWhatCouldNotBeReported) {
  std::atomic<bool> hasMemory{false};
  spf::test::Gate failed;
  TrustWatch sut(open(), [&](std::uint64_t request, const auto& keys) {
    if (!hasMemory) {
      failed.open();
      throw std::bad_alloc();
    }
    record(request, keys);
  });
  trust("alice");
  const auto request = sut.request();
  ASSERT_TRUE(failed.wait());
  hasMemory = true;
  EXPECT_TRUE(waitFor([&] { return latest == request && knows("alice"); }));
}

/// What a refresh needs that does not end before the test.
struct Hanging {
  spf::test::Gate reached;
  spf::test::Gate mayEnd;
  spf::test::Gate ended;
};

// As with a file system of the network that does not answer.
TEST_F(ATrustWatch, EndsWhileAFolderIsReadForEver) {
  const auto hanging = std::make_shared<Hanging>();
  auto trusted = open([hanging](const std::string&) {
    hanging->reached.open();
    EXPECT_TRUE(hanging->mayEnd.wait());
    hanging->ended.open();
  });
  int called = 0;
  {
    TrustWatch sut(std::move(trusted), [&](std::uint64_t, const auto&) { ++called; });
    std::ofstream(folder.path() + "/bob.pub") << "no key";
    sut.request();
    ASSERT_TRUE(hanging->reached.wait());
  }
  hanging->mayEnd.open();
  EXPECT_TRUE(hanging->ended.wait());
  EXPECT_EQ(called, 0);
}

}  // namespace
