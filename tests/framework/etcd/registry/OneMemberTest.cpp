#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include "RealEtcd.hpp"
#include "agent/spf/etcd/RecordReader.hpp"

namespace etcdtest {

using agent::spf::etcd::NameRecord;
using agent::spf::etcd::RecordReader;
using testing::IsEmpty;
using testing::SizeIs;

class WithOneMember : public RealEtcd {
 protected:
  void SetUp() override {
    RealEtcd::SetUp();
    if (!IsSkipped()) {
      ASSERT_TRUE(cluster_.waitUntilServing()) << cluster_.member(0).log();
    }
  }

  // Returns the registry's lease as etcdctl writes it.
  std::string lease() {
    std::istringstream lines(cluster_.member(0).control({"lease", "list"}));
    std::string line;
    std::getline(lines, line);  // how many there are
    std::getline(lines, line);
    return line;
  }

  EtcdCluster cluster_{whyNoEtcd().empty() ? std::size_t{1} : std::size_t{0}};
};

TEST_F(WithOneMember, KeysOfOneRegistryAreSeenByAnother) {
  ObservedRegistry sut(settings(cluster_.urls(), std::chrono::seconds(30)));
  ObservedRegistry other(settings(cluster_.urls()));
  sut->put("a/1", std::string("\0\xff x", 4));
  EXPECT_TRUE(other.waitForKey("a/1", std::string("\0\xff x", 4)));
  EXPECT_TRUE(sut.waitForKey("a/1"));
  sut->put("a/1", "other");
  EXPECT_TRUE(other.waitForKey("a/1", "other"));
  sut->remove("a/1");
  EXPECT_TRUE(other.waitForNoKey("a/1"));
  ObservedRegistry late(settings(cluster_.urls()));
  sut->put("b/1", "");
  EXPECT_TRUE(late.waitForKey("b/1", ""));
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(WithOneMember, KeysGoWithTheirRegistry) {
  ObservedRegistry other(settings(cluster_.urls()));
  ObservedRegistry sut(settings(cluster_.urls(), std::chrono::hours(1)));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  sut.end();
  EXPECT_TRUE(other.waitForNoKey("a/1"));
}

TEST_F(WithOneMember, KeysOutliveManyTimesToLive) {
  ObservedRegistry other(settings(cluster_.urls()));
  ObservedRegistry sut(settings(cluster_.urls(), std::chrono::seconds(3)));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  EXPECT_FALSE(
      other.waitUntil([](const auto& registry) { return registry.entries()->empty(); }, std::chrono::seconds(10)));
}

TEST_F(WithOneMember, KeysOfOtherPrefixesAreNotSeen) {
  cluster_.member(0).control({"put", "/spe/x", "1"});
  cluster_.member(0).control({"put", "/spf0", "1"});
  cluster_.member(0).control({"put", "/spf/x/1", "1"});
  ObservedRegistry sut(settings(cluster_.urls()));
  ASSERT_TRUE(sut.waitForKey("x/1"));
  cluster_.member(0).control({"put", "/spf0", "2"});
  cluster_.member(0).control({"put", "/spf/y/1", "1"});
  ASSERT_TRUE(sut.waitForKey("y/1"));
  EXPECT_THAT(*sut->entries(), SizeIs(2));
}

TEST_F(WithOneMember, AThousandKeysAreListedAndFollowed) {
  ObservedRegistry other(settings(cluster_.urls()));
  ObservedRegistry sut(settings(cluster_.urls()));
  const Healing time;
  NameRecord record;
  record.address = "tcp://10.0.0.1:5555";
  for (int number = 0; number < 1000; ++number) {
    record.name = "name" + std::to_string(number);
    record.id = "1";
    auto [key, value] = agent::spf::etcd::encode(record);
    sut->put(std::move(key), std::move(value));
  }
  EXPECT_TRUE(other.waitForCount(1000));
  time.report("1,000 names put and seen by the watch of another registry");
  const Healing listingTime;
  ObservedRegistry late(settings(cluster_.urls()));
  EXPECT_TRUE(late.waitForCount(1000));
  listingTime.report("1,000 names listed");
  std::vector<std::string> warnings;
  RecordReader reader([&](const std::string& warning) { warnings.push_back(warning); });
  EXPECT_THAT(reader.read(*late->entries()), SizeIs(1000));
  EXPECT_THAT(warnings, IsEmpty());
  sut.end();
  EXPECT_TRUE(late.waitForCount(0));
}

TEST_F(WithOneMember, GarbageUnderThePrefixDoesNotHideRecords) {
  ObservedRegistry sut(settings(cluster_.urls()));
  NameRecord record;
  record.name = "station";
  record.id = "1";
  record.address = "tcp://10.0.0.1:5555";
  const auto [key, value] = agent::spf::etcd::encode(record);
  for (const std::string garbage : {"", "station", "station/2", "/", "a/b/c", "\xff\xfe", "x\n/1"}) {
    cluster_.member(0).control({"put", "/spf/" + garbage, "\x01 no record"});
  }
  sut->put(key, value);
  ASSERT_TRUE(sut.waitForKey(key));
  ASSERT_TRUE(sut.waitForCount(8));
  std::vector<std::string> warnings;
  RecordReader reader([&](const std::string& warning) { warnings.push_back(warning); });
  EXPECT_THAT(reader.read(*sut->entries()), SizeIs(1));
  EXPECT_THAT(warnings, SizeIs(7));
  reader.read(*sut->entries());
  EXPECT_THAT(warnings, SizeIs(7));
}

TEST_F(WithOneMember, AKeyThatSomebodyDeletesComesBack) {
  ObservedRegistry sut(settings(cluster_.urls()));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  const auto first = cluster_.member(0).control({"get", "/spf/a/1", "--write-out=fields"});
  cluster_.member(0).control({"del", "/spf/a/1"});
  ObservedRegistry other(settings(cluster_.urls()));
  EXPECT_TRUE(other.waitForKey("a/1", "x"));
}

TEST_F(WithOneMember, AKeyThatALateRequestBringsBackGoesAgain) {
  ObservedRegistry sut(settings(cluster_.urls()));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  ObservedRegistry other(settings(cluster_.urls()));
  ASSERT_TRUE(other.waitUntilCurrent());
  cluster_.member(0).control({"put", "/spf/b/1", "stray", "--lease=" + lease()});
  cluster_.member(0).control({"put", "/spf/a/1", "old", "--lease=" + lease()});
  EXPECT_TRUE(other.waitForKey("a/1", "x"));
  EXPECT_TRUE(other.waitForNoKey("b/1"));
}

TEST_F(WithOneMember, ALeaseThatIsRevokedIsReplaced) {
  ObservedRegistry sut(settings(cluster_.urls()));
  sut->put("a/1", "x");
  sut->put("b/1", "y");
  ASSERT_TRUE(sut.waitForCount(2));
  const auto old = lease();
  const Healing healing;
  cluster_.member(0).control({"lease", "revoke", old});
  ObservedRegistry other(settings(cluster_.urls()));
  EXPECT_TRUE(other.waitForCount(2));
  healing.report("a lease that was revoked, until all keys are back");
  EXPECT_NE(lease(), old);
}

}  // namespace etcdtest
