#include <cppmicroservices/ServiceEvent.h>

#include <memory>
#include <optional>
#include <thread>

#include "TestFramework.hpp"
#include "spf/test/Gate.hpp"

namespace listenertest {

struct Interface {};

}  // namespace listenertest

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using listenertest::Interface;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AServiceListener : public StartedFramework {
 protected:
  ServiceListener noting(const Journal& target) {
    return [target](const ServiceEvent& event) {
      std::ostringstream text;
      text << event.GetType();
      target.note(text.str());
    };
  }

  ServiceRegistration<Interface> add(const ServiceProperties& properties = {}) {
    return sut.RegisterService<Interface>(std::make_shared<Interface>(), properties);
  }

  BundleContext sut = context();
  Journal journal;
};

TEST_F(AServiceListener, IsCalledForEachChangeOfAService) {
  sut.AddServiceListener(noting(journal));
  auto registration = add();
  registration.SetProperties({{"key", 1}});
  registration.SetProperties({{"key", 1}});
  registration.Unregister();
  EXPECT_THAT(journal.texts(), ElementsAre("REGISTERED", "MODIFIED", "MODIFIED", "UNREGISTERING"));
}

TEST_F(AServiceListener, IsCalledByTheThreadThatChangesTheService) {
  std::thread::id called;
  sut.AddServiceListener([&](const ServiceEvent&) { called = std::this_thread::get_id(); });
  const auto registration = add();
  EXPECT_EQ(called, std::this_thread::get_id());
}

TEST_F(AServiceListener, IsCalledOnlyForServicesThatMatchItsFilter) {
  sut.AddServiceListener(noting(journal), "(colour=red)");
  auto registration = add({{"colour", std::string("blue")}});
  EXPECT_THAT(journal.take(), IsEmpty());
  registration.SetProperties({{"colour", std::string("red")}});
  EXPECT_THAT(journal.take(), ElementsAre("MODIFIED"));
  registration.SetProperties({{"colour", std::string("green")}});
  EXPECT_THAT(journal.take(), ElementsAre("MODIFIED_ENDMATCH"));
  registration.SetProperties({{"colour", std::string("yellow")}});
  registration.Unregister();
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(AServiceListener, MaySelectOneInterfaceByItsFilter) {
  struct Other {};
  sut.AddServiceListener(noting(journal), "(objectclass=" + us_service_interface_iid<Interface>() + ")");
  (void)sut.RegisterService<Other>(std::make_shared<Other>());
  EXPECT_THAT(journal.texts(), IsEmpty());
}

TEST_F(AServiceListener, IsRefusedWithABadFilter) {
  EXPECT_THROW(sut.AddServiceListener(noting(journal), "(x"), std::invalid_argument);
}

TEST_F(AServiceListener, FindsTheServiceStillUsableWhenItIsUnregistered) {
  bool reached = false;
  auto registration = add({{"key", 1}});
  const auto reference = registration.GetReference();
  sut.AddServiceListener([&](const ServiceEvent& event) {
    if (event.GetType() != ServiceEvent::SERVICE_UNREGISTERING) {
      return;
    }
    reached = true;
    EXPECT_TRUE(event.GetServiceReference());
    EXPECT_TRUE(sut.GetService(event.GetServiceReference<Interface>()));
    EXPECT_FALSE(sut.GetServiceReference<Interface>());
    EXPECT_TRUE(registration.GetReference());
    EXPECT_NO_THROW(registration.Unregister());
    EXPECT_NO_THROW(registration.SetProperties({{"key", 2}}));
  });
  registration.Unregister();
  EXPECT_TRUE(reached);
  EXPECT_FALSE(reference);
}

TEST_F(AServiceListener, DoesNotBlockAnotherThreadThatUnregistersTheService) {
  Gate hearing;
  Gate mayReturn;
  auto registration = add();
  sut.AddServiceListener([&](const ServiceEvent&) {
    hearing.open();
    EXPECT_TRUE(mayReturn.wait());
  });
  std::thread first([copy = registration]() mutable { copy.Unregister(); });
  ASSERT_TRUE(hearing.wait());
  EXPECT_NO_THROW(registration.Unregister());
  mayReturn.open();
  first.join();
  EXPECT_THROW(registration.Unregister(), std::logic_error);
}

TEST_F(AServiceListener, MayRegisterServicesAndListenersItself) {
  std::optional<ServiceRegistration<Interface>> inner;
  sut.AddServiceListener([&](const ServiceEvent&) {
    if (!inner) {
      inner.emplace();
      *inner = add();
      sut.AddServiceListener(noting(journal));
    }
  });
  const auto outer = add();
  EXPECT_EQ(sut.GetServiceReferences<Interface>().size(), 2u);
  EXPECT_THAT(journal.texts(), IsEmpty());
}

TEST_F(AServiceListener, IsNotCalledOnceItIsRemoved) {
  auto token = sut.AddServiceListener(noting(journal));
  EXPECT_TRUE(token);
  sut.RemoveListener(std::move(token));
  const auto registration = add();
  EXPECT_THAT(journal.texts(), IsEmpty());
}

TEST_F(AServiceListener, IsSkippedWhenAnotherRemovesItDuringTheEvent) {
  ListenerToken first;
  ListenerToken second;
  int calls = 0;
  first = sut.AddServiceListener([&](const ServiceEvent&) {
    ++calls;
    sut.RemoveListener(std::move(second));
  });
  second = sut.AddServiceListener([&](const ServiceEvent&) {
    ++calls;
    sut.RemoveListener(std::move(first));
  });
  const auto registration = add();
  EXPECT_EQ(calls, 1);
}

TEST_F(AServiceListener, MayRemoveItself) {
  ListenerToken token;
  int calls = 0;
  token = sut.AddServiceListener([&](const ServiceEvent&) {
    ++calls;
    sut.RemoveListener(std::move(token));
  });
  add();
  add();
  EXPECT_EQ(calls, 1);
}

TEST_F(AServiceListener, IsNotRemovedByADefaultOrMovedToken) {
  sut.AddServiceListener(noting(journal));
  sut.RemoveListener(ListenerToken());
  auto token = sut.AddServiceListener([](const ServiceEvent&) {});
  const auto moved = std::move(token);
  sut.RemoveListener(std::move(token));
  EXPECT_TRUE(moved);
  add();
  EXPECT_THAT(journal.texts(), ElementsAre("REGISTERED"));
}

TEST_F(AServiceListener, IsReportedWhenItThrowsAndOthersAreCalled) {
  Journal errors;
  noteFrameworkEvents(errors);
  sut.AddServiceListener(noting(journal));
  sut.AddServiceListener([](const ServiceEvent&) { throw std::runtime_error("listener"); });
  sut.AddServiceListener([](const ServiceEvent&) { throw 1; });
  sut.AddServiceListener(ServiceListener());
  sut.AddServiceListener(noting(journal));
  const auto registration = add();
  EXPECT_TRUE(registration.GetReference());
  EXPECT_THAT(journal.texts(), ElementsAre("REGISTERED", "REGISTERED"));
  const std::string error = "ERROR Service listener in system_bundle threw an exception!";
  EXPECT_THAT(errors.texts(), ElementsAre(error, error, error));
}

TEST_F(AServiceListener, HasItsExceptionInTheReport) {
  std::string reported;
  sut.AddFrameworkListener([&](const FrameworkEvent& event) {
    reported = messageOf<std::runtime_error>([&] { std::rethrow_exception(event.GetThrowable()); });
  });
  sut.AddServiceListener([](const ServiceEvent&) { throw std::runtime_error("mine"); });
  add();
  EXPECT_EQ(reported, "mine");
}

TEST_F(AServiceListener, IsRemovedByTheTokenThatWasMovedTo) {
  static_assert(!std::is_copy_constructible_v<ListenerToken> && std::is_nothrow_move_constructible_v<ListenerToken>);
  auto token = sut.AddServiceListener(noting(journal));
  const auto moved = std::move(token);
  EXPECT_FALSE(token);
  EXPECT_TRUE(moved);
}

}  // namespace
