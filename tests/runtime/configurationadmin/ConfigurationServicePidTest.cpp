#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

/// Registers a factory with the properties, then updates "f~i".
class APid : public ConfigurationAdminFixture {
 protected:
  std::vector<std::string> toldWith(const ServiceProperties& properties) {
    context().RegisterService<ManagedServiceFactory>(std::make_shared<RecordingFactory>(journal), properties);
    admin->GetConfiguration("f~i")->Update(valued(1)).get();
    return journal.entries();
  }

  static AnyMap map(const std::string& key, const std::string& value) {
    AnyMap result;
    result[key] = value;
    return result;
  }
};

TEST_F(APid, MayStandInAServicePidOfAnySpelling) {
  EXPECT_THAT(toldWith({{"Service.PID", std::string("f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayBeTheNameOfAComponent) {
  EXPECT_THAT(toldWith({{"component.name", std::string("f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayStandInANestedMap) {
  EXPECT_THAT(toldWith({{"service", map("pid", "f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayBeTheNameInANestedComponent) {
  EXPECT_THAT(toldWith({{"component", map("name", "f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsThatOfTheNestedServiceBeforeAnyOther) {
  EXPECT_THAT(toldWith({{"service", map("pid", "f")},
                        {"component", map("name", "g")},
                        {"service.pid", std::string("g")},
                        {"component.name", std::string("g")}}),
              ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsThatOfTheNestedComponentBeforeThoseThatAreNotNested) {
  EXPECT_THAT(
      toldWith(
          {{"component", map("name", "f")}, {"service.pid", std::string("g")}, {"component.name", std::string("g")}}),
      ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsThatOfTheServiceBeforeTheNameOfTheComponent) {
  EXPECT_THAT(toldWith({{"service.pid", std::string("f")}, {"component.name", std::string("g")}}),
              ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsLookedForFurtherWhereOneIsEmpty) {
  EXPECT_THAT(toldWith({{"service.pid", std::string()}, {"component.name", std::string("f")}}),
              ElementsAre("factory f~i=1"));
}

TEST_F(APid, CannotBeEmpty) {
  registerWithPid(std::make_shared<RecordingService>(journal), "");
  admin->GetConfiguration("")->Update(valued(1)).get();
  EXPECT_THAT(toldWith({{"service.pid", std::string()}}), ElementsAre());
}

TEST_F(APid, CannotStandInAFactoryPid) {
  EXPECT_THAT(toldWith({{"service.factoryPid", std::string("f")}}), ElementsAre());
}

TEST_F(APid, HasToBeAString) {
  EXPECT_THAT(toldWith({{"service.pid", Any(static_cast<const char*>("f"))}}), ElementsAre());
}

TEST_F(APid, IsNeededToBeTold) {
  EXPECT_THAT(toldWith({}), ElementsAre());
}

TEST_F(APid, IsReadOnceOnly) {
  auto registration = registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  registration.SetProperties({{"service.pid", std::string("g")}});
  admin->GetConfiguration("g~i")->Update(valued(1)).get();
  admin->GetConfiguration("f~i")->Update(valued(2)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~i=2"));
}

}  // namespace spf::test
