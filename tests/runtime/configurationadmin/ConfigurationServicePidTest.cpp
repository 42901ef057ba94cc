#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

/// Registers a factory with the properties, then updates "f~i".
class APid : public ConfigurationAdminFixture {
 protected:
  std::vector<std::string> toldWith(ServiceProperties const& properties) {
    context().RegisterService<ManagedServiceFactory>(std::make_shared<RecordingFactory>(journal), properties);
    admin->GetConfiguration("f~i")->Update(valued(1)).get();
    return journal.entries();
  }
};

TEST_F(APid, MayStandInAServicePidOfAnySpelling) {
  EXPECT_THAT(toldWith({{"Service.PID", std::string("f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayBeTheNameOfAComponent) {
  EXPECT_THAT(toldWith({{"component.name", std::string("f")}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, MayStandInANestedMap) {
  AnyMap nested;
  nested["pid"] = std::string("f");
  EXPECT_THAT(toldWith({{"service", nested}}), ElementsAre("factory f~i=1"));
}

TEST_F(APid, CannotStandInAFactoryPid) {
  EXPECT_THAT(toldWith({{"service.factoryPid", std::string("f")}}), ElementsAre());
}

TEST_F(APid, HasToBeAString) {
  EXPECT_THAT(toldWith({{"service.pid", Any(static_cast<char const*>("f"))}}), ElementsAre());
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
