#include <cppmicroservices/ServiceFactory.h>

#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/Lending.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

class Publication : public testing::Test {
 protected:
  FrameworkWithConfigurationAdmin framework_;
};

TEST_F(Publication, UnderTheEmptyIDTakesTheNameThatConfigurationAdminChose) {
  const auto configuration = SPFConfigurationBuilder("").build();
  EXPECT_NE(configuration.getConfigurationID(), "");
  EXPECT_EQ(framework_.configurationIDs(), Texts{configuration.getConfigurationID()});
}

TEST_F(Publication, WritesTheCallersIDAndTheNextCountAfterModify) {
  auto configuration = SPFConfigurationBuilder("abc").build();
  EXPECT_EQ(framework_.configurationIDs(), Texts{"abc"});
  EXPECT_EQ(asInt(framework_.configuration("abc")->at("modificationCount")), 1);

  configuration = configuration.modify().build();
  EXPECT_EQ(framework_.configurationIDs(), Texts{"abc"});
  EXPECT_EQ(asInt(framework_.configuration("abc")->at("modificationCount")), 2);
  EXPECT_EQ(configuration.getConfigurationID(), "abc");
}

TEST_F(Publication, IsRemovedWhenItsHandleIsDestroyedButNotAfterModify) {
  auto builder = SPFConfigurationBuilder();
  {
    auto first = SPFConfigurationBuilder("x").build();
    builder = first.modify();
  }
  EXPECT_EQ(framework_.configurationIDs(), Texts{"x"});
  {
    const auto second = builder.build();
    EXPECT_EQ(framework_.configurationIDs(), Texts{"x"});
  }
  EXPECT_EQ(framework_.configurationIDs(), Texts{});
}

TEST_F(Publication, KeepsAnIDThatLooksLikeAPid) {
  const auto configuration = SPFConfigurationBuilder("a~b c.d").build();
  EXPECT_EQ(configuration.getConfigurationID(), "a~b c.d");
  EXPECT_EQ(framework_.configurationIDs(), Texts{"a~b c.d"});
}

TEST(PublicationWithoutConfigurationAdmin, ReturnsNormallyWithAnEmptyIDAndItsHandleRemovesNothing) {
  TestFramework framework;
  auto configuration = std::make_unique<SPFConfiguration>(
      SPFConfigurationBuilder("nowhere").addServicePublisher(publisher("p")).build());
  EXPECT_EQ(configuration->getConfigurationID(), "");
  EXPECT_FALSE(configuration->empty());
  EXPECT_EQ(framework.listeners(), 0u);

  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  configuration.reset();
  EXPECT_TRUE(admin->calls().empty());
}

TEST(PublicationWithoutConfigurationAdmin, StillInstallsTheBundles) {
  TestFramework framework;
  const auto configuration = SPFConfigurationBuilder("nowhere").build();
  EXPECT_EQ(framework.host().installations().size(), 7u);
}

TEST(PublicationWithoutFramework, ReturnsNormallyWithAnEmptyID) {
  HostDouble host;
  const auto configuration = SPFConfigurationBuilder("nowhere").build();
  EXPECT_EQ(configuration.getConfigurationID(), "");
  EXPECT_FALSE(configuration.empty());
}

class PublicationThroughADouble : public testing::Test {
 protected:
  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(PublicationThroughADouble, LeavesTheIDEmptyForAShortPidButTracksAndWritesAllTheSame) {
  for (const auto* pid : {"", "zk.spf.framework", "zk.spf.framework~"}) {
    admin_->setNextPid(pid);
    auto configuration = SPFConfigurationBuilder().addServicePublisher(publisher("p")).build();
    EXPECT_EQ(configuration.getConfigurationID(), "");
    EXPECT_TRUE(admin_->properties(pid));
    EXPECT_EQ(framework_.listeners(), 1u);
    framework_.sendPublished("p", 1);
    EXPECT_TRUE(configuration.waitForAllServices(std::chrono::milliseconds(0), "p"));
  }
}

TEST_F(PublicationThroughADouble, TakesTheOneCharacterBehindTheSeparatorForTheID) {
  admin_->setNextPid("zk.spf.framework~1");
  EXPECT_EQ(SPFConfigurationBuilder().build().getConfigurationID(), "1");
}

TEST_F(PublicationThroughADouble, IsWithdrawnByWhatStandsBehindTheSeparatorOrNotAtAll) {
  const std::pair<std::string, std::string> cases[] = {{"", ""},
                                                       {"zk.spf.framework", ""},
                                                       {"zk.spf.framework~", ""},
                                                       {"zk.spf.framework~1", "1"},
                                                       {"zk.spf.framework~a~b", "a~b"},
                                                       {"another.factory.entirely~1", "ntirely~1"}};
  for (const auto& [pid, id] : cases) {
    admin_->setNextPid(pid);
    auto configuration = SPFConfigurationBuilder().build();
    EXPECT_EQ(configuration.getConfigurationID(), id) << pid;
    admin_->clearCalls();
    configuration.reset();
    EXPECT_EQ(admin_->calls(),
              id.empty() ? Texts{}
                         : (Texts{"GetFactoryConfiguration zk.spf.framework " + id, "Remove zk.spf.framework~" + id}))
        << pid;
  }
}

TEST_F(PublicationThroughADouble, CreatesAsksForThePidAndWritesForTheEmptyID) {
  const auto configuration = SPFConfigurationBuilder().build();
  EXPECT_EQ(admin_->calls(), (Texts{"CreateFactoryConfiguration zk.spf.framework", "GetPid zk.spf.framework~generated",
                                    "Update zk.spf.framework~generated"}));
}

TEST_F(PublicationThroughADouble, GetsAndWritesForAGivenID) {
  const auto configuration = SPFConfigurationBuilder("given").build();
  EXPECT_EQ(admin_->calls(),
            (Texts{"GetFactoryConfiguration zk.spf.framework given", "Update zk.spf.framework~given"}));
}

TEST_F(PublicationThroughADouble, InstallsTheBundlesBeforeItTouchesConfigurationAdmin) {
  framework_.host().onInstallation([&](const Installation&) { EXPECT_TRUE(admin_->calls().empty()); });
  const auto configuration = SPFConfigurationBuilder("given").build();
  EXPECT_EQ(framework_.host().installations().size(), 7u);
}

TEST_F(PublicationThroughADouble, ReleasesFutureConfigurationAndConfigurationAdminInThisOrder) {
  Texts released;
  const Lending lending(framework_, admin_, [&](const char* what) { released.emplace_back(what); });
  const auto configuration = SPFConfigurationBuilder("given").addServicePublisher(publisher("p")).build();
  EXPECT_EQ(released, (Texts{"future", "Configuration", "ConfigurationAdmin"}));
}

TEST_F(PublicationThroughADouble, ListensBeforeTheFrameworkCanHearOfIt) {
  std::size_t listenersBefore = 99;
  std::size_t listenersAtUpdate = 0;
  admin_->onCall([&](const std::string& call) {
    (call.rfind("Update", 0) == 0 ? listenersAtUpdate : listenersBefore) = framework_.listeners();
  });
  auto configuration = SPFConfigurationBuilder("given").addServicePublisher(publisher("p")).build();
  EXPECT_EQ(listenersBefore, 0u);
  EXPECT_EQ(listenersAtUpdate, 1u);
}

}  // namespace spf::test
