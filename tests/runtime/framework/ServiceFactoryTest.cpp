#include <cppmicroservices/PrototypeServiceFactory.h>
#include <cppmicroservices/SecurityException.h>
#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/SharedLibraryException.h>

#include <functional>
#include <memory>
#include <thread>

#include "TestFramework.hpp"
#include "ZipArchive.hpp"
#include "spf/test/Gate.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Interface {};

/// Returns the object that a function makes, and notes the calls.
template <class Base>
struct NotingFactory : Base {
  InterfaceMapConstPtr GetService(const Bundle& bundle, const ServiceRegistrationBase&) override {
    journal.note("get for " + bundle.GetSymbolicName());
    return make();
  }
  void UngetService(const Bundle& bundle, const ServiceRegistrationBase&, const InterfaceMapConstPtr&) override {
    journal.note("unget for " + bundle.GetSymbolicName());
    afterUnget();
  }

  Journal journal;
  std::function<InterfaceMapConstPtr()> make = [] {
    return InterfaceMapConstPtr(MakeInterfaceMap<Interface>(std::make_shared<Interface>()));
  };
  std::function<void()> afterUnget = [] {};
};

/// Returns the type and the text of an event's exception.
std::string describe(const std::exception_ptr& throwable) {
  try {
    std::rethrow_exception(throwable);
  } catch (const ServiceException& error) {
    const bool thrown = error.GetType() == ServiceException::FACTORY_EXCEPTION;
    return (thrown ? "factory exception: " : "factory error: ") + std::string(error.what());
  } catch (const std::logic_error& error) {
    return "logic error: " + std::string(error.what());
  }
}

class AServiceFactory : public StartedFramework {
 protected:
  /// Returns a journal that notes all framework events as "ERROR bundle: factory exception: text".
  Journal noteReports() {
    const Journal journal;
    context().AddFrameworkListener([journal](const FrameworkEvent& event) {
      std::ostringstream text;
      text << event.GetType() << " " << event.GetBundle().GetSymbolicName() << ": " << describe(event.GetThrowable());
      journal.note(text.str());
    });
    return journal;
  }

  ServiceRegistration<Interface> add() { return user.RegisterService<Interface>(ToFactory(sut)); }

  /// Returns the context of a started bundle without code.
  BundleContext otherBundle() {
    auto bundle = context().InstallBundles(DATA_ONLY_BUNDLE).at(0);
    bundle.Start();
    return bundle.GetBundleContext();
  }

  const std::shared_ptr<NotingFactory<ServiceFactory>> sut = std::make_shared<NotingFactory<ServiceFactory>>();
  BundleContext user = context();
};

TEST_F(AServiceFactory, IsCalledOncePerBundleWhileTheServiceIsHeld) {
  const auto reference = add().GetReference();
  auto first = user.GetService(reference);
  auto second = user.GetService(reference);
  EXPECT_EQ(first, second);
  auto other = otherBundle();
  auto third = other.GetService(reference);
  EXPECT_NE(first, third);
  EXPECT_THAT(sut->journal.take(), ElementsAre("get for system_bundle", "get for data.only"));
  first.reset();
  EXPECT_THAT(sut->journal.take(), IsEmpty());
  second.reset();
  EXPECT_THAT(sut->journal.take(), ElementsAre("unget for system_bundle"));
  const auto again = user.GetService(reference);
  EXPECT_THAT(sut->journal.take(), ElementsAre("get for system_bundle"));
}

TEST_F(AServiceFactory, SetsTheScopeOfItsService) {
  const auto reference = add().GetReference();
  EXPECT_EQ(any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)), Constants::SCOPE_BUNDLE);
  EXPECT_THAT(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
              testing::UnorderedElementsAre(us_service_interface_iid<Interface>(), "org.cppmicroservices.factory"));
}

TEST_F(AServiceFactory, GetsItsObjectBackWhenTheServiceIsUnregistered) {
  auto registration = add();
  auto held = user.GetService(registration.GetReference());
  sut->journal.take();
  registration.Unregister();
  EXPECT_THAT(sut->journal.take(), ElementsAre("unget for system_bundle"));
  EXPECT_TRUE(held);
  held.reset();
  EXPECT_THAT(sut->journal.take(), IsEmpty());
}

TEST_F(AServiceFactory, GetsItsObjectBackWhenTheUserIsStopped) {
  auto other = otherBundle();
  const auto held = other.GetService(add().GetReference());
  sut->journal.take();
  other.GetBundle().Stop();
  EXPECT_THAT(sut->journal.take(), ElementsAre("unget for data.only"));
}

TEST_F(AServiceFactory, IsReportedWhenItThrows) {
  Journal errors;
  noteFrameworkEvents(errors);
  sut->make = []() -> InterfaceMapConstPtr { throw std::runtime_error("no object today"); };
  const auto reference = add().GetReference();
  EXPECT_FALSE(user.GetService(reference));
  ASSERT_EQ(errors.texts().size(), 1u);
  EXPECT_THAT(errors.texts()[0], HasSubstr("ERROR"));
}

TEST_F(AServiceFactory, IsReportedWithItsOwnTextWhenItThrows) {
  const auto heard = noteReports();
  sut->make = []() -> InterfaceMapConstPtr { throw std::runtime_error("no object today"); };
  EXPECT_FALSE(user.GetService(add().GetReference()));
  EXPECT_THAT(heard.texts(), ElementsAre("ERROR system_bundle: factory exception: no object today"));
}

TEST_F(AServiceFactory, IsReportedForTheBundleThatGetsTheService) {
  auto other = otherBundle();
  const auto heard = noteReports();
  sut->make = []() -> InterfaceMapConstPtr { throw std::runtime_error("no object today"); };
  EXPECT_FALSE(other.GetService(add().GetReference()));
  EXPECT_THAT(heard.texts(), ElementsAre("ERROR data.only: factory exception: no object today"));
}

TEST_F(AServiceFactory, IsReportedAsAWarningIfItsObjectLacksAnInterface) {
  struct Other {};
  auto other = otherBundle();
  const auto heard = noteReports();
  sut->make = [] { return InterfaceMapConstPtr(MakeInterfaceMap<Other>(std::make_shared<Other>())); };
  EXPECT_FALSE(other.GetService(add().GetReference()));
  EXPECT_THAT(heard.texts(), ElementsAre(testing::StartsWith("WARNING data.only: logic error:")));
}

TEST_F(AServiceFactory, PropagatesThatABundleCannotBeLoaded) {
  auto other = otherBundle();
  Journal errors;
  noteFrameworkEvents(errors);
  const auto reference = add().GetReference();
  sut->make = [&]() -> InterfaceMapConstPtr {
    throw SharedLibraryException(std::make_error_code(std::errc::io_error), "broken", other.GetBundle());
  };
  EXPECT_THROW(user.GetService(reference), SharedLibraryException);
  sut->make = [&]() -> InterfaceMapConstPtr { throw SecurityException("refused", other.GetBundle()); };
  EXPECT_THROW(user.GetService(reference), SecurityException);
  EXPECT_EQ(errors.texts().size(), 2u);
}

TEST_F(AServiceFactory, IsReportedWhenItThrowsOnGettingItsObjectBack) {
  auto other = otherBundle();
  const auto heard = noteReports();
  sut->afterUnget = [] { throw std::runtime_error("keep it"); };
  EXPECT_TRUE(other.GetService(add().GetReference()));
  EXPECT_THAT(heard.texts(), ElementsAre("ERROR data.only: factory exception: keep it"));
}

TEST_F(AServiceFactory, MayBeCalledAgainAfterItThrew) {
  const auto good = sut->make;
  sut->make = []() -> InterfaceMapConstPtr { throw std::runtime_error("not yet"); };
  const auto reference = add().GetReference();
  EXPECT_FALSE(user.GetService(reference));
  sut->make = good;
  EXPECT_TRUE(user.GetService(reference));
}

TEST_F(AServiceFactory, IsReportedWhenItReturnsNoObject) {
  auto other = otherBundle();
  const auto heard = noteReports();
  sut->make = [] { return InterfaceMapConstPtr(); };
  EXPECT_FALSE(other.GetService(add().GetReference()));
  EXPECT_THAT(heard.texts(), ElementsAre(testing::StartsWith("ERROR data.only: factory error:")));
}

TEST_F(AServiceFactory, IsRefusedIfItIsNull) {
  EXPECT_EQ(
      messageOf<ServiceException>([&] { (void)user.RegisterService<Interface>(std::shared_ptr<ServiceFactory>()); }),
      "The service factory argument must not be nullptr.");
}

class APrototypeServiceFactory : public AServiceFactory {
 protected:
  const std::shared_ptr<NotingFactory<PrototypeServiceFactory>> prototypes =
      std::make_shared<NotingFactory<PrototypeServiceFactory>>();
};

TEST_F(APrototypeServiceFactory, IsCalledForEachObject) {
  const auto reference = user.RegisterService<Interface>(ToFactory(prototypes)).GetReference();
  EXPECT_EQ(any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)), Constants::SCOPE_PROTOTYPE);
  const auto objects = user.GetServiceObjects(reference);
  auto first = objects.GetService();
  const auto second = objects.GetService();
  EXPECT_NE(first, second);
  first.reset();
  EXPECT_THAT(prototypes->journal.texts(),
              ElementsAre("get for system_bundle", "get for system_bundle", "unget for system_bundle"));
}

TEST_F(APrototypeServiceFactory, IsCalledOncePerBundleWithoutServiceObjects) {
  const auto reference = user.RegisterService<Interface>(ToFactory(prototypes)).GetReference();
  EXPECT_EQ(user.GetService(reference), user.GetService(reference));
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, the behaviour of other implementations is undefined.

TEST_F(AServiceFactory, IsReportedWhenItGetsItsOwnService) {
  Journal errors;
  noteFrameworkEvents(errors);
  const auto reference = add().GetReference();
  const auto good = sut->make;
  sut->make = [&] {
    EXPECT_FALSE(user.GetService(reference));
    return good();
  };
  EXPECT_TRUE(user.GetService(reference));
  EXPECT_THAT(errors.texts(), ElementsAre(HasSubstr("just making")));
}

TEST_F(AServiceFactory, IsCalledOnceByThreadsThatNeedItsObjectAtTheSameTime) {
  Gate making;
  Gate mayMake;
  const auto good = sut->make;
  sut->make = [&] {
    making.open();
    EXPECT_TRUE(mayMake.wait());
    return good();
  };
  const auto reference = add().GetReference();
  std::shared_ptr<Interface> services[2];
  std::thread first([&] { services[0] = user.GetService(reference); });
  ASSERT_TRUE(making.wait());
  std::thread second([&] { services[1] = user.GetService(reference); });
  mayMake.open();
  first.join();
  second.join();
  EXPECT_TRUE(services[0]);
  EXPECT_EQ(services[0], services[1]);
  EXPECT_EQ(sut->journal.texts().size(), 1u);
}

TEST_F(AServiceFactory, GetsItsObjectBackIfTheServiceIsUnregisteredMeanwhile) {
  auto registration = add();
  const auto reference = registration.GetReference();
  const auto good = sut->make;
  sut->make = [&] {
    registration.Unregister();
    return good();
  };
  EXPECT_FALSE(user.GetService(reference));
  EXPECT_THAT(sut->journal.texts(), ElementsAre("get for system_bundle", "unget for system_bundle"));
}

#endif

}  // namespace
