#include "discovery/FollowedNames.hpp"

#include <gmock/gmock.h>

#include "records.hpp"

namespace spf::test {

using namespace spfctl;
using agent::spf::etcd::NameRecord;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Entries = FollowedNames::Entries;
using Texts = std::vector<std::string>;

class FollowingNames : public testing::Test {
 protected:
  // Each change as "name kind address", or "name moved before address"; each unreadable key as "key unreadable".
  Texts update(const Entries& entries) {
    static constexpr const char* kinds[] = {"present", "added", "removed", "moved", "changed"};
    const auto update = sut_.update(std::make_shared<const Entries>(entries));
    Texts texts;
    for (const auto& change : update.changes) {
      texts.push_back(change.record.name + " " + kinds[static_cast<int>(change.kind)] + " " +
                      (change.before.empty() ? "" : change.before + " ") + change.record.address);
    }
    for (const auto& unreadable : update.unreadable) {
      EXPECT_NE(unreadable.reason, "");
      texts.push_back(unreadable.key + " unreadable");
    }
    return texts;
  }
  static Entries entries(const std::vector<NameRecord>& records) {
    Entries entries;
    for (const auto& record : records) {
      entries.insert(encode(record));
    }
    return entries;
  }
  Texts addresses() const {
    Texts texts;
    for (const auto& record : sut_.records()) {
      texts.push_back(record.name + " " + record.address);
    }
    return texts;
  }

  const NameRecord pier_ = record("pier", "1", "tcp://h:1");
  const NameRecord station_ = record("station", "2", "tcp://h:2");
  FollowedNames sut_;
};

TEST_F(FollowingNames, BeginsWithWhatIsPresent) {
  EXPECT_THAT(update(entries({station_, pier_})), ElementsAre("pier present tcp://h:1", "station present tcp://h:2"));
  EXPECT_THAT(addresses(), ElementsAre("pier tcp://h:1", "station tcp://h:2"));
}

TEST_F(FollowingNames, ReportsWhatIsAddedAndRemovedAfterwards) {
  EXPECT_THAT(update({}), IsEmpty());
  EXPECT_THAT(update(entries({station_})), ElementsAre("station added tcp://h:2"));
  EXPECT_THAT(update(entries({station_, pier_})), ElementsAre("pier added tcp://h:1"));
  EXPECT_THAT(update(entries({pier_})), ElementsAre("station removed tcp://h:2"));
  EXPECT_THAT(update(entries({pier_})), IsEmpty());
  EXPECT_THAT(update({}), ElementsAre("pier removed tcp://h:1"));
  EXPECT_THAT(addresses(), IsEmpty());
}

TEST_F(FollowingNames, ReportsAnAnnouncementWhoseAddressChanges) {
  update(entries({station_}));
  EXPECT_THAT(update(entries({record("station", "2", "tcp://h:3")})), ElementsAre("station moved tcp://h:2 tcp://h:3"));
  EXPECT_THAT(addresses(), ElementsAre("station tcp://h:3"));
}

TEST_F(FollowingNames, ReportsAMoveWhereOneAnnouncementReplacesAnotherAtOnce) {
  update(entries({station_, pier_}));
  EXPECT_THAT(update(entries({record("station", "9", "tcp://h:9"), record("pier", "8", "tcp://h:8")})),
              ElementsAre("pier moved tcp://h:1 tcp://h:8", "station moved tcp://h:2 tcp://h:9"));
  EXPECT_THAT(addresses(), ElementsAre("pier tcp://h:8", "station tcp://h:9"));
}

TEST_F(FollowingNames, ReportsNoMoveBetweenNamesOrConfigurations) {
  update(entries({station_}));
  auto other = record("station", "3", "tcp://h:3");
  other.configuration = "other";
  EXPECT_THAT(update(entries({other})), ElementsAre("station added tcp://h:3", "station removed tcp://h:2"));
  EXPECT_THAT(update(entries({record("dock", "4", "tcp://h:4")})),
              ElementsAre("dock added tcp://h:4", "station removed tcp://h:3"));
}

TEST_F(FollowingNames, ReportsAnythingElseAsAChange) {
  update(entries({station_}));
  auto other = station_;
  other.key = "a-key";
  EXPECT_THAT(update(entries({other})), ElementsAre("station changed tcp://h:2"));
  other.id = "3";
  EXPECT_THAT(update(entries({other})), ElementsAre("station changed tcp://h:2")) << "of another announcement";
}

TEST_F(FollowingNames, ListsANameOnceForEachAnnouncement) {
  update(entries({record("station", "a", "tcp://h:9"), record("station", "b", "tcp://h:7"),
                  record("station", "c", "tcp://h:8"), pier_}));
  EXPECT_THAT(addresses(),
              ElementsAre("pier tcp://h:1", "station tcp://h:7", "station tcp://h:8", "station tcp://h:9"));
}

TEST_F(FollowingNames, NamesEachKeyThatCannotBeReadOnceAndListsTheRest) {
  auto garbage = entries({station_});
  garbage["station/x"] = "no JSON";
  garbage["nothing"] = "{}";
  EXPECT_THAT(update(garbage), ElementsAre("station present tcp://h:2", "nothing unreadable", "station/x unreadable"));
  garbage["station/x"] = "still no JSON";
  EXPECT_THAT(update(garbage), IsEmpty());
  EXPECT_THAT(addresses(), ElementsAre("station tcp://h:2"));
}

TEST_F(FollowingNames, NamesAKeyAgainThatWasGoodOrGoneInBetween) {
  const auto key = encode(station_).first;
  const Entries garbage = {{key, "no JSON"}};
  EXPECT_THAT(update(garbage), ElementsAre(key + " unreadable"));
  EXPECT_THAT(update(entries({station_})), ElementsAre("station added tcp://h:2"));
  EXPECT_THAT(update(garbage), ElementsAre("station removed tcp://h:2", key + " unreadable"));
  EXPECT_THAT(update({}), IsEmpty());
  EXPECT_THAT(update(garbage), ElementsAre(key + " unreadable"));
}

TEST_F(FollowingNames, MayBeAboutOneNameOnly) {
  FollowedNames sut("station");
  auto all = entries({station_, pier_, record("station2", "3", "tcp://h:3")});
  all["garbage"] = "";
  all["station/x"] = "";
  const auto update = sut.update(std::make_shared<const Entries>(all));
  ASSERT_EQ(update.changes.size(), 1u);
  EXPECT_EQ(update.changes[0].record.address, "tcp://h:2");
  ASSERT_EQ(update.unreadable.size(), 1u);
  EXPECT_EQ(update.unreadable[0].key, "station/x");
  EXPECT_EQ(sut.records().size(), 1u);
}

}  // namespace spf::test
