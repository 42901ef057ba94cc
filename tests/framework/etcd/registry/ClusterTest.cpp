#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include "RealEtcd.hpp"

namespace etcdtest {

/// A proxy before each member of a cluster.
class Proxies {
 public:
  explicit Proxies(EtcdCluster& cluster) {
    for (std::size_t index = 0; index < cluster.size(); ++index) {
      proxies_.push_back(std::make_unique<FaultProxy>(cluster.member(index).clientPort()));
    }
  }

  FaultProxy& operator[](std::size_t index) const { return *proxies_.at(index); }

  std::vector<std::string> urls() const {
    std::vector<std::string> urls;
    for (const auto& proxy : proxies_) {
      urls.push_back(proxy->url());
    }
    return urls;
  }

  /// Returns the first one that has had a connection; their number if there is none.
  std::size_t used() const {
    const auto used =
        std::find_if(proxies_.begin(), proxies_.end(), [](const auto& proxy) { return proxy->connections() > 0; });
    return static_cast<std::size_t>(used - proxies_.begin());
  }

 private:
  std::vector<std::unique_ptr<FaultProxy>> proxies_;
};

class WithThreeMembers : public RealEtcd {
 protected:
  void SetUp() override {
    RealEtcd::SetUp();
    if (!IsSkipped()) {
      cluster_ = std::make_unique<EtcdCluster>(3);
      ASSERT_TRUE(cluster_->waitUntilServing()) << cluster_->member(0).log();
    }
  }

  static constexpr std::chrono::seconds ttl{3};
  std::unique_ptr<EtcdCluster> cluster_;
};

TEST_F(WithThreeMembers, TheLeadersDeathIsSurvived) {
  const auto leader = cluster_->leader();
  const Proxies proxies(*cluster_);
  for (std::size_t index = 0; index < cluster_->size(); ++index) {
    if (index != leader) {
      proxies[index].set(FaultProxy::Behaviour::cut);  // so that the leader is used
    }
  }
  ObservedRegistry sut(settings(proxies.urls(), ttl));
  ObservedRegistry other(settings(proxies.urls(), ttl));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  ASSERT_TRUE(sut.waitUntilCurrent());
  ASSERT_TRUE(other.waitUntilCurrent());
  ASSERT_EQ(cluster_->leader(), leader);
  for (std::size_t index = 0; index < cluster_->size(); ++index) {
    proxies[index].set(FaultProxy::Behaviour::forward);
  }
  const Healing healing;
  cluster_->member(leader).kill();
  sut->put("b/1", "y");
  EXPECT_TRUE(other.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_TRUE(other.waitUntilCurrent());
  healing.report("the leader killed, until a new key is put and seen");
  EXPECT_TRUE(other.hasKey("a/1"));
}

TEST_F(WithThreeMembers, TheDeathOfAllIsSurvived) {
  ObservedRegistry sut(settings(cluster_->urls(), ttl));
  ObservedRegistry other(settings(cluster_->urls(), ttl));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  for (std::size_t index = 0; index < cluster_->size(); ++index) {
    cluster_->member(index).kill();
  }
  ASSERT_TRUE(sut.waitForTrouble());
  ASSERT_TRUE(other.waitForTrouble());
  sut->put("b/1", "y");
  for (std::size_t index = 0; index < cluster_->size(); ++index) {
    cluster_->member(index).start();
  }
  ASSERT_TRUE(cluster_->waitUntilServing());
  const Healing healing;
  EXPECT_TRUE(other.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_TRUE(other.waitUntilCurrent());
  healing.report("all members killed, from their restart until all is put and seen");
  EXPECT_TRUE(other.hasKey("a/1"));
}

TEST_F(WithThreeMembers, TheOneThatIsStoppedAndStaysSilentIsLeft) {
  const Proxies proxies(*cluster_);
  ObservedRegistry sut(settings(proxies.urls(), ttl));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  const auto used = proxies.used();
  ASSERT_LT(used, cluster_->size());
  const Healing healing;
  cluster_->member(used).pause();
  ObservedRegistry other(settings({cluster_->urls()[(used + 1) % cluster_->size()]}, ttl));
  other->put("b/1", "y");
  EXPECT_TRUE(sut.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  healing.report("a member stopped by SIGSTOP, until a new key is seen");
  EXPECT_TRUE(other.waitForKey("a/1"));
  EXPECT_THAT(sut.warnings(), testing::ElementsAre(testing::HasSubstr(proxies[used].url())));
  cluster_->member(used).resume();
}

TEST_F(WithThreeMembers, OneThatHasLostTheMajorityIsNotBelieved) {
  ObservedRegistry sut(settings({cluster_->urls()[0]}, ttl));
  ASSERT_TRUE(sut.waitUntilCurrent());
  cluster_->member(1).pause();
  cluster_->member(2).pause();
  EXPECT_TRUE(sut.waitForTrouble());
  cluster_->member(1).resume();
  cluster_->member(2).resume();
  const Healing healing;
  EXPECT_TRUE(sut.waitUntilCurrent());
  healing.report("the majority stopped, from its return until the copy is current");
}

}  // namespace etcdtest
