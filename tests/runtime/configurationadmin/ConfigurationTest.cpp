#include <ostream>
#include <set>
#include <stdexcept>
#include <utility>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class AConfigurationAdmin : public ConfigurationAdminFixture {
 protected:
  std::vector<std::string> pidsOf(const std::string& filter = {}) {
    std::vector<std::string> pids;
    for (const auto& configuration : admin->ListConfigurations(filter)) {
      pids.push_back(configuration->GetPid());
    }
    return pids;
  }
};

class AConfiguration : public ConfigurationAdminFixture {};

TEST_F(AConfigurationAdmin, IsABundleWithAnActivatorThatOffersOneService) {
  EXPECT_EQ(bundle.GetSymbolicName(), "configuration_admin");
  EXPECT_EQ(bundle.GetHeaders().at("bundle.activator"), true);
  EXPECT_EQ(bundle.GetVersion(), cppmicroservices::BundleVersion(1, 3, 15));
  EXPECT_THAT(context().GetServiceReference<ConfigurationAdmin>().GetPropertyKeys(),
              UnorderedElementsAre("objectclass", "service.id", "service.scope"));
}

TEST_F(AConfigurationAdmin, ReturnsTheSameObjectForAPidAgain) {
  const auto first = admin->GetConfiguration("a");

  EXPECT_EQ(admin->GetConfiguration("a"), first);
  EXPECT_EQ(first->GetPid(), "a");
}

TEST_F(AConfigurationAdmin, DistinguishesPidsThatDifferInCase) {
  EXPECT_NE(admin->GetConfiguration("a"), admin->GetConfiguration("A"));
}

TEST_F(AConfigurationAdmin, AcceptsAnEmptyPid) {
  EXPECT_EQ(admin->GetConfiguration("")->GetPid(), "");
}

TEST_F(AConfigurationAdmin, TakesTheTextBeforeTheFirstTildeAsTheFactory) {
  EXPECT_EQ(admin->GetConfiguration("plain")->GetFactoryPid(), "");
  EXPECT_EQ(admin->GetConfiguration("f~i")->GetFactoryPid(), "f");
  EXPECT_EQ(admin->GetConfiguration("f~i~j")->GetFactoryPid(), "f");
  EXPECT_EQ(admin->GetConfiguration("~i")->GetFactoryPid(), "");
  EXPECT_EQ(admin->GetFactoryConfiguration("x~y", "z")->GetFactoryPid(), "x");
}

TEST_F(AConfigurationAdmin, NamesAConfigurationOfAFactoryAfterBoth) {
  for (const std::string instance : {"i", "", "~", " \n", "\xc3\xa4"}) {
    EXPECT_EQ(admin->GetFactoryConfiguration("f", instance), admin->GetConfiguration("f~" + instance));
  }
}

TEST_F(AConfigurationAdmin, MakesANewPidForEachConfigurationItCreates) {
  std::set<std::string> pids;
  for (int i = 0; i < 100; ++i) {
    const auto configuration = admin->CreateFactoryConfiguration("f");
    EXPECT_THAT(configuration->GetPid(), testing::ContainsRegex("^f~[0-9A-Za-z]{6}$"));
    EXPECT_EQ(configuration->GetFactoryPid(), "f");
    pids.insert(configuration->GetPid());
  }
  EXPECT_EQ(pids.size(), 100u);
}

TEST_F(AConfigurationAdmin, ReportsTheFactoryOfACreatedConfiguration) {
  EXPECT_EQ(admin->CreateFactoryConfiguration("x~y")->GetFactoryPid(), "x~y");
}

TEST_F(AConfigurationAdmin, ListsOnlyUpdatedConfigurations) {
  admin->GetConfiguration("never");
  admin->GetConfiguration("a")->Update();
  admin->GetConfiguration("b")->Update(valued(1));

  EXPECT_THAT(pidsOf(), UnorderedElementsAre("a", "b"));
}

TEST_F(AConfigurationAdmin, ListsNoRemovedConfiguration) {
  admin->GetConfiguration("a")->Update();
  admin->GetConfiguration("a")->Remove().get();

  EXPECT_THAT(pidsOf(), ElementsAre());
}

TEST_F(AConfigurationAdmin, ListsTheConfigurationsThatMatchAFilter) {
  admin->GetConfiguration("a")->Update(valued(1));
  admin->GetConfiguration("b")->Update(valued(2));

  EXPECT_THAT(pidsOf("(value=2)"), ElementsAre("b"));
  EXPECT_THAT(pidsOf("(pid=a)"), ElementsAre("a"));
  EXPECT_THAT(pidsOf("(value=3)"), ElementsAre());
}

TEST_F(AConfigurationAdmin, OffersTheFilterThePidInPlaceOfAPropertyOfThatName) {
  AnyMap properties;
  properties["pid"] = std::string("other");
  admin->GetConfiguration("a")->Update(properties);

  EXPECT_THAT(pidsOf("(pid=a)"), ElementsAre("a"));
  EXPECT_THAT(pidsOf("(pid=other)"), ElementsAre());
}

TEST_F(AConfigurationAdmin, OffersTheFilterNoOtherNameOfThePid) {
  admin->GetConfiguration("f~a")->Update(valued(1));

  EXPECT_THAT(pidsOf("(|(service.pid=*)(service.factoryPid=*)(factoryPid=*))"), ElementsAre());
}

TEST_F(AConfigurationAdmin, RefusesABadFilter) {
  EXPECT_THROW(admin->ListConfigurations("(a=b"), std::invalid_argument);
}

TEST_F(AConfigurationAdmin, CannotMatchPropertiesWithAnotherSpellingOfThePidsName) {
  AnyMap properties(AnyMap::ORDERED_MAP);
  properties["PID"] = 1;
  admin->GetConfiguration("a")->Update(properties);

  EXPECT_THAT([&] { admin->ListConfigurations("(value=1)"); },
              testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("case variants")));
}

TEST_F(AConfiguration, HasNoPropertiesAtFirst) {
  const auto sut = admin->GetConfiguration("a");

  EXPECT_EQ(sut->GetProperties(), AnyMap());
  EXPECT_EQ(sut->GetChangeCount(), 0u);
  EXPECT_EQ(sut->GetInstanceCount(), 1u);
}

TEST_F(AConfiguration, KeepsThePropertiesAsTheyAreGiven) {
  AnyMap properties(AnyMap::ORDERED_MAP);
  properties["Key"] = 1;
  properties["KEY"] = std::vector<Any>{Any(2)};
  const auto sut = admin->GetConfiguration("a");
  sut->Update(properties);

  EXPECT_EQ(sut->GetProperties(), properties);
}

TEST_F(AConfiguration, KeepsEmptyValues) {
  AnyMap properties;
  properties["empty"] = Any();
  const auto sut = admin->GetConfiguration("a");
  sut->Update(properties);

  EXPECT_TRUE(sut->GetProperties().at("empty").Empty());
}

TEST_F(AConfiguration, ReturnsCopiesOfItsProperties) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1));
  auto copy = sut->GetProperties();
  copy["value"] = 2;

  EXPECT_EQ(sut->GetProperties(), valued(1));
}

TEST_F(AConfiguration, CountsEachUpdateAtOnce) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1));
  EXPECT_EQ(sut->GetChangeCount(), 1u);
  sut->Update(valued(1));
  EXPECT_EQ(sut->GetChangeCount(), 2u);
  sut->SafeUpdate();
  EXPECT_EQ(sut->GetChangeCount(), 3u);
}

TEST_F(AConfiguration, IsEmptyAfterAnUpdateWithoutProperties) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1));
  sut->Update();

  EXPECT_EQ(sut->GetProperties(), AnyMap());
  EXPECT_EQ(admin->GetConfiguration("a"), sut);
}

TEST_F(AConfiguration, IsNotUpdatedWithEqualProperties) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1));
  const auto result = sut->UpdateIfDifferent(valued(1));
  const auto safe = sut->SafeUpdateIfDifferent(valued(1));

  EXPECT_FALSE(result.first);
  EXPECT_TRUE(becomesReady(result.second));
  EXPECT_FALSE(safe.first);
  safe.second->get();
  EXPECT_EQ(sut->GetChangeCount(), 1u);
}

TEST_F(AConfiguration, IsNotUpdatedFromNoPropertiesToEmptyOnes) {
  const auto sut = admin->GetConfiguration("a");

  EXPECT_FALSE(sut->UpdateIfDifferent().first);
  EXPECT_THAT(admin->ListConfigurations(), ElementsAre());
}

TEST_F(AConfiguration, IsUpdatedWithDifferentProperties) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1));
  const auto result = sut->UpdateIfDifferent(valued(2));

  EXPECT_TRUE(result.first);
  EXPECT_TRUE(becomesReady(result.second));
  EXPECT_EQ(sut->GetProperties(), valued(2));
  EXPECT_EQ(sut->GetChangeCount(), 2u);
}

TEST_F(AConfiguration, DistinguishesCapitalsTypesAndTypesOfMaps) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1));

  EXPECT_TRUE(sut->UpdateIfDifferent(AnyMap{{"Value", Any(1)}}).first);
  EXPECT_TRUE(sut->UpdateIfDifferent(AnyMap{{"Value", Any(1L)}}).first);
  EXPECT_TRUE(sut->SafeUpdateIfDifferent(AnyMap(AnyMap::ORDERED_MAP, {{"Value", Any(1L)}})).first);
}

struct Incomparable {};
std::ostream& operator<<(std::ostream& out, Incomparable) {
  return out;
}

TEST_F(AConfiguration, ConsidersValuesWithoutComparisonDifferent) {
  const auto sut = admin->GetConfiguration("a");
  const AnyMap properties{{"value", Any(Incomparable())}};
  sut->Update(properties);

  EXPECT_TRUE(sut->UpdateIfDifferent(properties).first);
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_F(AConfiguration, LeavesAnEmptyMapWhenItIsUpdatedByMove) {
  auto properties = valued(1);
  admin->GetConfiguration("a")->Update(std::move(properties));

  EXPECT_EQ(properties, AnyMap());
}

TEST_F(AConfiguration, ConsidersAnEmptyValueDifferentFromEverything) {
  AnyMap properties;
  properties["empty"] = Any();
  const auto sut = admin->GetConfiguration("a");
  sut->Update(properties);

  EXPECT_TRUE(sut->UpdateIfDifferent(properties).first);
  EXPECT_TRUE(sut->UpdateIfDifferent(valued(1)).first);
}
#endif

}  // namespace spf::test
