#include <algorithm>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/canonicalText.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

// Calls an action with every order of four publishers.
template <class Action>
void inEveryOrder(Action action) {
  Texts ids = {"a", "b", "c", "d"};
  do {
    action(ids);
  } while (std::next_permutation(ids.begin(), ids.end()) && !testing::Test::HasFailure());
}

class PublishersInEveryOrder : public testing::Test {
 protected:
  static SPFConfigurationBuilder builder(const Texts& ids) {
    SPFConfigurationBuilder sut("ordered");
    sut.addServiceInterfaceToAllServicePublishers(serviceInterface("to all"))
        .addServiceInterface(serviceInterface("i"));
    for (const auto& id : ids) {
      sut.addServicePublisher(publisher(id, {Any(id)})).addServiceMapping("i", id);
    }
    return sut;
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(PublishersInEveryOrder, ArePublishedWithTheSameEntriesAndMappings) {
  const Texts inOrder = {"a", "b", "c", "d"};
  Texts entries;
  inEveryOrder([&](const Texts& ids) {
    const auto sut = builder(ids).build();
    const auto properties = admin_->properties("zk.spf.framework~ordered");
    const auto published = sortedCanonicalTexts(asList(properties->at("servicePublisherConfigurations")));
    entries = entries.empty() ? published : entries;
    EXPECT_EQ(published.size(), 4u);
    EXPECT_EQ(published, entries);

    Pairs expected;
    for (const auto& id : idsIn(*properties, "servicePublisherConfigurations")) {
      expected.emplace_back("to all", id);
    }
    for (const auto& id : inOrder) {
      expected.emplace_back("i", id);
    }
    EXPECT_EQ(mappingsIn(*properties), expected);
    EXPECT_EQ(idsOf(sut.getServicePublisherConfigurations()), idsIn(*properties, "servicePublisherConfigurations"));
    EXPECT_EQ(sortedIDsOf(sut.getServicePublisherConfigurations()), inOrder);
  });
}

TEST_F(PublishersInEveryOrder, CompleteTheConfigurationWithTheLastOfThem) {
  inEveryOrder([&](const Texts& ids) {
    const auto sut = builder({"a", "b", "c", "d"}).build();
    for (const auto& id : ids) {
      EXPECT_EQ(framework_.listeners(), 1u) << "before " << id;
      framework_.sendPublished(id, 1);
      EXPECT_EQ(framework_.listeners(), 1u) << "before the endpoint of " << id;
      framework_.sendConnected(id, 1, Any(id));
    }
    EXPECT_EQ(framework_.listeners(), 0u);
  });
}

TEST_F(PublishersInEveryOrder, CompleteTheConfigurationThroughErrorsAndUnpublishingToo) {
  inEveryOrder([&](const Texts& ids) {
    const auto sut = builder({"a", "b", "c", "d"}).build();
    framework_.sendError(ids[0], 1, makeError<std::runtime_error>("broken"));
    framework_.sendUnpublished(ids[1], 1);
    framework_.sendError(ids[2], 1, nullptr);
    EXPECT_EQ(framework_.listeners(), 1u);
    framework_.sendUnpublished(ids[3], 1);
    EXPECT_EQ(framework_.listeners(), 0u);
  });
}

}  // namespace spf::test
