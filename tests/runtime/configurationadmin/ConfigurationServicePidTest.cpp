#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

/// Registers a factory with the properties, then updates "f~i".
class APid : public ConfigurationAdminFixture {
 protected:
  std::vector<std::string> deliveredWith(const ServiceProperties& properties) {
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

TEST_F(APid, MayBeInServicePidInAnyCase) {
  EXPECT_THAT(deliveredWith({{"Service.PID", std::string("f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayBeTheNameOfAComponent) {
  EXPECT_THAT(deliveredWith({{"component.name", std::string("f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayBeInANestedMap) {
  EXPECT_THAT(deliveredWith({{"service", map("pid", "f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayBeTheNameInANestedComponent) {
  EXPECT_THAT(deliveredWith({{"component", map("name", "f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsThatOfTheNestedServiceRatherThanAnyOther) {
  EXPECT_THAT(deliveredWith({{"service", map("pid", "f")},
                             {"component", map("name", "g")},
                             {"service.pid", std::string("g")},
                             {"component.name", std::string("g")}}),
              ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsThatOfTheNestedComponentRatherThanOfAPlainProperty) {
  EXPECT_THAT(
      deliveredWith(
          {{"component", map("name", "f")}, {"service.pid", std::string("g")}, {"component.name", std::string("g")}}),
      ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsThatOfTheServiceRatherThanTheComponentsName) {
  EXPECT_THAT(deliveredWith({{"service.pid", std::string("f")}, {"component.name", std::string("g")}}),
              ElementsAre("factory f~i=1"));
}

TEST_F(APid, IsReadFromTheNextPropertyIfOneIsEmpty) {
  EXPECT_THAT(deliveredWith({{"service.pid", std::string()}, {"component.name", std::string("f")}}),
              ElementsAre("factory f~i=1"));
}

TEST_F(APid, CannotBeEmpty) {
  registerWithPid(std::make_shared<RecordingService>(journal), "");
  admin->GetConfiguration("")->Update(valued(1)).get();
  EXPECT_THAT(deliveredWith({{"service.pid", std::string()}}), ElementsAre());
}

TEST_F(APid, IsNotReadFromServiceFactoryPid) {
  EXPECT_THAT(deliveredWith({{"service.factoryPid", std::string("f")}}), ElementsAre());
}

TEST_F(APid, HasToBeAString) {
  EXPECT_THAT(deliveredWith({{"service.pid", Any(static_cast<const char*>("f"))}}), ElementsAre());
}

TEST_F(APid, IsNeededForADelivery) {
  EXPECT_THAT(deliveredWith({}), ElementsAre());
}

TEST_F(APid, IsReadOnlyOnce) {
  auto registration = registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  registration.SetProperties({{"service.pid", std::string("g")}});
  admin->GetConfiguration("g~i")->Update(valued(1)).get();
  admin->GetConfiguration("f~i")->Update(valued(2)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~i=2"));
}

}  // namespace spf::test
