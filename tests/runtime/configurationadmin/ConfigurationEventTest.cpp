#include <stdexcept>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

static_assert(static_cast<int>(ConfigurationEventType::CM_UPDATED) == 1);
static_assert(static_cast<int>(ConfigurationEventType::CM_DELETED) == 2);

class AConfigurationEvent : public ConfigurationAdminFixture {
 protected:
  AConfigurationEvent() : listener(std::make_shared<RecordingListener>(journal)) { registerListener(listener); }

  const std::shared_ptr<RecordingListener> listener;
};

TEST_F(AConfigurationEvent, IsSentForEveryChangeEvenWithoutReceivers) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1)).get();
  sut->Update(valued(1)).get();
  sut->Remove().get();

  EXPECT_THAT(
      journal.entries(),
      ElementsAre("event updated pid:a factory:", "event updated pid:a factory:", "event deleted pid:a factory:"));
}

TEST_F(AConfigurationEvent, HasTheFullPidOfAFactorysConfigurationAsItsFactoryPid) {
  admin->GetConfiguration("f~i")->Update().get();
  admin->GetConfiguration("~i")->Update().get();

  EXPECT_THAT(journal.entries(), ElementsAre("event updated pid: factory:f~i", "event updated pid: factory:~i"));
}

TEST_F(AConfigurationEvent, RefersToTheConfigurationAdmin) {
  cppmicroservices::ServiceReference<ConfigurationAdmin> reference;
  listener->onEvent = [&](const ConfigurationEvent& event) { reference = event.getReference(); };
  admin->GetConfiguration("a")->Update().get();

  EXPECT_TRUE(reference == context().GetServiceReference<ConfigurationAdmin>());
}

TEST_F(AConfigurationEvent, StoresTheExceptionOfAListenerInTheFuture) {
  listener->onEvent = [](const ConfigurationEvent&) { throw std::domain_error("not wanted"); };

  EXPECT_THROW(admin->GetConfiguration("a")->Update().get(), std::domain_error);
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_F(AConfigurationEvent, DoesNotPreventTheUpdateWhateverAListenerThrows) {
  listener->onEvent = [](const ConfigurationEvent&) { throw 5; };
  registerListener(std::make_shared<RecordingListener>(journal));
  registerWithPid(std::make_shared<RecordingService>(journal), "f~i");
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");

  EXPECT_THROW(admin->GetConfiguration("f~i")->SafeUpdate(valued(1))->get(), int);
  EXPECT_THAT(journal.entries(), ElementsAre("event updated pid: factory:f~i", "event updated pid: factory:f~i",
                                             "service=1", "factory f~i=1"));
}
#endif

}  // namespace spf::test
