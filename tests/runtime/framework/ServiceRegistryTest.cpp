#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceObjects.h>

#include <memory>
#include <set>

#include "TestFramework.hpp"

namespace registrytest {

struct Interface {
  int value = 0;
};
struct Other {
  virtual ~Other() = default;
};
struct Named {};
inline namespace v1 {
struct Versioned {};
}  // namespace v1
template <class T>
struct Holder {};
struct Both : Interface, Other {};

}  // namespace registrytest

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(registrytest::Named, "a.name/of its own")

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using namespace registrytest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct Local {};

class AServiceRegistry : public StartedFramework {
 protected:
  ServiceRegistration<Interface> add(const ServiceProperties& properties = {}) {
    return sut.RegisterService<Interface>(std::make_shared<Interface>(), properties);
  }

  std::vector<int> numbersOf(const std::vector<ServiceReference<Interface>>& references) {
    std::vector<int> numbers;
    for (const auto& reference : references) {
      numbers.push_back(any_cast<int>(reference.GetProperty("number")));
    }
    return numbers;
  }

  BundleContext sut = context();
};

TEST(AnInterfaceId, IsTheNameOfTheType) {
  EXPECT_EQ(us_service_interface_iid<Interface>(), "registrytest::Interface");
  EXPECT_EQ(us_service_interface_iid<Holder<Holder<int>>>(), "registrytest::Holder<registrytest::Holder<int> >");
  EXPECT_EQ(us_service_interface_iid<Local>(), "(anonymous namespace)::Local");
  EXPECT_EQ(us_service_interface_iid<Named>(), "a.name/of its own");
  EXPECT_EQ(us_service_interface_iid<Versioned>(), "registrytest::v1::Versioned");
  EXPECT_EQ(us_service_interface_iid<void>(), "");
}

TEST_F(AServiceRegistry, AddsPropertiesOfItsOwn) {
  const auto reference = sut.RegisterService<Interface, Other>(std::make_shared<Both>()).GetReference();
  EXPECT_THAT(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
              UnorderedElementsAre("registrytest::Interface", "registrytest::Other"));
  EXPECT_GT(any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)), 0);
  EXPECT_EQ(any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)), Constants::SCOPE_SINGLETON);
}

// Each library may have operations of its own for the types that an Any holds.
TEST_F(AServiceRegistry, AddsPropertiesThatEqualThoseOfOtherLibraries) {
  const auto reference = sut.RegisterService<Interface>(std::make_shared<Both>()).GetReference();
  const auto id = reference.GetProperty(Constants::SERVICE_ID);
  EXPECT_EQ(id, Any(any_cast<long>(id)));
  EXPECT_NE(id, Any(any_cast<long>(id) + 1));
  EXPECT_NE(id, Any(static_cast<long long>(any_cast<long>(id))));
  EXPECT_EQ(reference.GetProperty(Constants::SERVICE_SCOPE), Any(Constants::SCOPE_SINGLETON));
}

TEST_F(AServiceRegistry, MatchesReferencesByTheirCurrentProperties) {
  const LDAPFilter filter("(&(key=1)(Other=a*))");
  auto registration =
      sut.RegisterService<Interface>(std::make_shared<Both>(), {{"key", 1}, {"other", std::string("ab")}});
  const auto reference = registration.GetReference();
  EXPECT_TRUE(filter.Match(reference));
  registration.SetProperties({{"key", 2}, {"other", std::string("ab")}});
  EXPECT_FALSE(filter.Match(reference));
  registration.SetProperties({{"key", 1}});
  EXPECT_FALSE(filter.Match(reference));
  registration.Unregister();
  EXPECT_TRUE(LDAPFilter("(key=1)").Match(reference));
  EXPECT_FALSE(LDAPFilter().Match(reference));
}

TEST_F(AServiceRegistry, FindsAServiceByEachOfItsInterfaces) {
  const auto both = std::make_shared<Both>();
  const auto registration = sut.RegisterService<Interface, Other>(both);
  EXPECT_EQ(sut.GetService(sut.GetServiceReference<Interface>()).get(), both.get());
  EXPECT_EQ(sut.GetService(sut.GetServiceReference<Other>()).get(), static_cast<Other*>(both.get()));
  EXPECT_EQ(sut.GetServiceReference<Interface>(), sut.GetServiceReference<Other>());
  EXPECT_EQ(registration.GetReference<Other>().GetInterfaceId(), "registrytest::Other");
}

TEST_F(AServiceRegistry, FindsNothingForAnUnknownInterface) {
  EXPECT_FALSE(sut.GetServiceReference<Interface>());
  EXPECT_THAT(sut.GetServiceReferences<Interface>(), IsEmpty());
}

TEST_F(AServiceRegistry, DropsTheGlobalScopeOfALookedUpName) {
  const auto registration = add();
  EXPECT_TRUE(sut.GetServiceReference("::registrytest::Interface"));
  EXPECT_FALSE(sut.GetServiceReference("registrytest::interface"));
}

TEST_F(AServiceRegistry, ReturnsTheServiceWithTheHighestRankingFirst) {
  add({{"number", 1}, {Constants::SERVICE_RANKING, 5}});
  add({{"number", 2}});
  add({{"number", 3}, {Constants::SERVICE_RANKING, 10}});
  add({{"number", 4}});
  add({{"number", 5}, {Constants::SERVICE_RANKING, -1}});
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(3, 1, 2, 4, 5));
  EXPECT_EQ(any_cast<int>(sut.GetServiceReference<Interface>().GetProperty("number")), 3);
}

TEST_F(AServiceRegistry, ReordersServicesWhenARankingChanges) {
  auto first = add({{"number", 1}});
  add({{"number", 2}});
  auto third = add({{"number", 3}});
  third.SetProperties({{"number", 3}, {Constants::SERVICE_RANKING, 1}});
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(3, 1, 2));
  first.SetProperties({{"number", 1}, {Constants::SERVICE_RANKING, -1}});
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(3, 2, 1));
  first.Unregister();
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(3, 2));
}

TEST_F(AServiceRegistry, OrdersServicesOfOneRankingByTheIdInTheirProperties) {
  const auto late = add({{"number", 1}, {Constants::SERVICE_ID, 1000000002L}}).GetReference();
  const auto own = add({{"number", 2}}).GetReference();
  const auto middle = add({{"number", 3}, {Constants::SERVICE_ID, 1000000001L}}).GetReference();
  add({{"number", 4}, {Constants::SERVICE_ID, -1L}, {Constants::SERVICE_RANKING, -1}});
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(2, 3, 1, 4));
  EXPECT_TRUE(late < middle);
  EXPECT_TRUE(middle < own);
  auto first = add({{"number", 5}, {Constants::SERVICE_ID, -2L}});
  EXPECT_EQ(sut.GetServiceReference<Interface>(), first.GetReference());
  first.Unregister();
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(2, 3, 1, 4));
}

TEST_F(AServiceRegistry, OrdersServicesOfOneGivenIdByAge) {
  std::vector<ServiceRegistration<Interface>> registrations;
  for (int number = 1; number <= 3; ++number) {
    registrations.push_back(add({{"number", number}, {Constants::SERVICE_ID, 1000000000L}}));
  }
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(1, 2, 3));
  registrations[1].Unregister();
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(1, 3));
}

TEST_F(AServiceRegistry, KeepsAGivenIdWhenPropertiesAreSet) {
  auto given = add({{"number", 1}, {Constants::SERVICE_ID, 1000000000L}});
  const auto own = add({{"number", 2}});
  given.SetProperties({{"number", 3}, {Constants::SERVICE_ID, 1L}});
  EXPECT_EQ(given.GetReference().GetProperty(Constants::SERVICE_ID), 1000000000L);
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(2, 3));
  given.SetProperties({{"number", 4}, {Constants::SERVICE_RANKING, 1}});
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>()), ElementsAre(4, 2));
}

TEST_F(AServiceRegistry, OrdersReferencesByRankingThenByAge) {
  const auto older = add().GetReference();
  const auto younger = add().GetReference();
  const auto ranked = add({{Constants::SERVICE_RANKING, 1}}).GetReference();
  EXPECT_TRUE(younger < older);
  EXPECT_TRUE(older < ranked);
  EXPECT_FALSE(ranked < older);
  EXPECT_TRUE(ServiceReference<Interface>() < younger);
}

TEST_F(AServiceRegistry, FiltersByProperties) {
  add({{"number", 1}, {"colour", std::string("red")}});
  add({{"number", 2}, {"colour", std::string("blue")}});
  EXPECT_THAT(numbersOf(sut.GetServiceReferences<Interface>("(COLOUR=blue)")), ElementsAre(2));
  EXPECT_THAT(sut.GetServiceReferences<Interface>("(colour=green)"), IsEmpty());
}

TEST_F(AServiceRegistry, RefusesABadFilterOnlyIfThereAreServices) {
  EXPECT_THAT(sut.GetServiceReferences<Interface>("("), IsEmpty());
  const auto registration = add();
  EXPECT_THROW(sut.GetServiceReferences<Interface>("("), std::invalid_argument);
  EXPECT_THROW(sut.GetServiceReferences<Interface>(" "), std::invalid_argument);
}

TEST_F(AServiceRegistry, ListsAllServicesInTheOrderOfTheirRegistration) {
  const ServiceReferenceU first = add().GetReference();
  const ServiceReferenceU second = sut.RegisterService<Other>(std::make_shared<Both>()).GetReference();
  const ServiceReferenceU third = add({{Constants::SERVICE_RANKING, 9}}).GetReference();
  EXPECT_THAT(sut.GetServiceReferences(""), ElementsAre(first, second, third));
}

TEST_F(AServiceRegistry, RefusesABadFilterForAllServicesInAnyCase) {
  EXPECT_THROW(sut.GetServiceReferences("", "("), std::invalid_argument);
}

TEST_F(AServiceRegistry, ListsServicesByRankingIfTheFilterFixesTheirClass) {
  const ServiceReferenceU first = add({{"key", 1}}).GetReference();
  const ServiceReferenceU second = add({{"key", 1}, {Constants::SERVICE_RANKING, 9}}).GetReference();
  const ServiceReferenceU other = sut.RegisterService<Other>(std::make_shared<Both>()).GetReference();
  const std::string fixed = "(objectClass=registrytest::Interface)";
  for (const auto& filter : {fixed, "(&(key=1)" + fixed + ")", "(|" + fixed + fixed + ")"}) {
    EXPECT_THAT(sut.GetServiceReferences("", filter), ElementsAre(second, first)) << filter;
  }
  const std::string loose = "(objectClass=registrytest::Interf*)";
  for (const auto& filter : {loose, "(!(!" + fixed + "))", "(|" + fixed + "(key=1))"}) {
    EXPECT_THAT(sut.GetServiceReferences("", filter), ElementsAre(first, second)) << filter;
  }
}

TEST_F(AServiceRegistry, RefusesNullPointersAndEmptyMaps) {
  EXPECT_THAT(
      messageOf<std::invalid_argument>([&] { (void)sut.RegisterService<Interface>(std::shared_ptr<Interface>()); }),
      HasSubstr("Can't register as null class"));
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { (void)sut.RegisterService(InterfaceMapConstPtr()); }),
            "Can't register empty InterfaceMap as a service");
  EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { (void)sut.RegisterService(std::make_shared<const InterfaceMap>()); }),
      "Can't register empty InterfaceMap as a service");
}

TEST_F(AServiceRegistry, RefusesKeysThatDifferOnlyInCase) {
  EXPECT_THAT(messageOf<std::runtime_error>([&] {
                add({{"key", 1}, {"KEY", 2}});
              }),
              HasSubstr("Properties contain case variants"));
  EXPECT_THAT(messageOf<std::runtime_error>([&] {
                add({{"SERVICE.ID", 1}});
              }),
              HasSubstr("Properties contain case variants"));
  EXPECT_FALSE(sut.GetServiceReference<Interface>());
}

TEST_F(AServiceRegistry, KeepsGivenPropertiesOfItsOwnNamesUntilTheyAreSet) {
  const std::vector<std::string> classes{"registrytest::Interface", "another"};
  const ServiceProperties given{{Constants::SERVICE_ID, 123456L},
                                {Constants::SERVICE_SCOPE, Constants::SCOPE_PROTOTYPE},
                                {Constants::OBJECTCLASS, classes}};
  auto registration = add(given);
  const auto reference = registration.GetReference();
  EXPECT_EQ(reference.GetProperty(Constants::SERVICE_ID), 123456L);
  EXPECT_EQ(reference.GetProperty(Constants::SERVICE_SCOPE), Constants::SCOPE_PROTOTYPE);
  EXPECT_EQ(reference.GetProperty(Constants::OBJECTCLASS), classes);

  auto other = sut.RegisterService<Other>(std::make_shared<Other>());
  other.SetProperties(given);
  EXPECT_NE(other.GetReference().GetProperty(Constants::SERVICE_ID), 123456L);
  EXPECT_EQ(other.GetReference().GetProperty(Constants::SERVICE_SCOPE), Constants::SCOPE_SINGLETON);
  EXPECT_EQ(other.GetReference().GetProperty(Constants::OBJECTCLASS), std::vector<std::string>{"registrytest::Other"});
}

TEST_F(AServiceRegistry, RefusesARankingThatIsNoIntWhenPropertiesAreSet) {
  auto registration = add({{"key", 1}});
  EXPECT_THAT(messageOf<std::invalid_argument>([&] {
                registration.SetProperties({{Constants::SERVICE_RANKING, 1L}});
              }),
              testing::StartsWith("SERVICE_RANKING property has unexpected value type. "));
  EXPECT_EQ(any_cast<int>(registration.GetReference().GetProperty("key")), 1);
}

TEST_F(AServiceRegistry, ReplacesPropertiesWhenTheyAreSet) {
  auto registration = add({{"old", 1}});
  registration.SetProperties({{"new", 2}});
  const auto reference = registration.GetReference();
  EXPECT_TRUE(reference.GetProperty("old").Empty());
  EXPECT_EQ(any_cast<int>(reference.GetProperty("NEW")), 2);
  EXPECT_THAT(reference.GetPropertyKeys(), UnorderedElementsAre("new", "objectclass", "service.id", "service.scope"));
}

TEST_F(AServiceRegistry, DoesNotFindAnUnregisteredService) {
  auto registration = add({{"key", 1}});
  const auto reference = registration.GetReference();
  EXPECT_EQ(reference.GetBundle(), framework);
  registration.Unregister();
  EXPECT_FALSE(sut.GetServiceReference<Interface>());
  EXPECT_FALSE(reference);
  EXPECT_FALSE(reference.GetBundle());
  EXPECT_EQ(any_cast<int>(reference.GetProperty("key")), 1);
  EXPECT_THAT(reference.GetPropertyKeys(), UnorderedElementsAre("key", "objectclass", "service.id", "service.scope"));
  EXPECT_TRUE(reference.GetProperty("missing").Empty());
  EXPECT_TRUE(reference == ServiceReference<Interface>(reference));
  EXPECT_TRUE(LDAPFilter("(key=1)").Match(reference));
  EXPECT_EQ(std::hash<ServiceReference<Interface>>()(reference), std::hash<ServiceReference<Interface>>()(reference));
}

TEST_F(AServiceRegistry, ReleasesAnUnregisteredImplementation) {
  auto implementation = std::make_shared<Interface>();
  const std::weak_ptr<Interface> watch = implementation;
  auto registration = sut.RegisterService<Interface>(std::move(implementation));
  implementation.reset();
  auto held = sut.GetService(registration.GetReference());
  registration.Unregister();
  EXPECT_FALSE(watch.expired());
  held.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(AServiceRegistry, KeepsARegistrationTrueAfterUnregister) {
  auto registration = add();
  auto copy = registration;
  registration.Unregister();
  EXPECT_TRUE(registration);
  EXPECT_EQ(messageOf<std::logic_error>([&] { copy.Unregister(); }), "Service is unregistered");
  EXPECT_EQ(messageOf<std::logic_error>([&] { copy.GetReference(); }), "Service is unregistered");
  EXPECT_EQ(messageOf<std::logic_error>([&] { copy.SetProperties({}); }), "Service is unregistered");
  registration = nullptr;
  EXPECT_FALSE(registration);
  EXPECT_EQ(messageOf<std::logic_error>([&] { registration.Unregister(); }), "ServiceRegistrationBase object invalid");
}

TEST_F(AServiceRegistry, PrintsAnEmptyReferenceAsInvalid) {
  const auto text = [](const ServiceReferenceBase& reference) {
    std::ostringstream out;
    out << reference;
    return out.str();
  };
  auto registration = add();
  const auto reference = registration.GetReference();
  EXPECT_THAT(text(reference), testing::StartsWith("Reference for service object registered from "));
  registration.Unregister();
  EXPECT_EQ(text(reference), "Invalid service reference");
  EXPECT_EQ(text(ServiceReferenceU()), "Invalid service reference");
}

TEST(ADefaultRegistration, IsFalse) {
  EXPECT_FALSE(ServiceRegistration<Interface>());
}

TEST_F(AServiceRegistry, KeepsAServiceWhoseRegistrationIsDestroyed) {
  auto registration = add();
  registration = nullptr;
  EXPECT_TRUE(sut.GetServiceReference<Interface>());
}

TEST_F(AServiceRegistry, CountsABundleAsUserWhileItHoldsTheService) {
  const auto implementation = std::make_shared<Interface>();
  const auto reference = sut.RegisterService<Interface>(implementation).GetReference();
  auto first = sut.GetService(reference);
  auto second = sut.GetService(reference);
  EXPECT_EQ(first, implementation);
  EXPECT_EQ(first.use_count(), 1);
  EXPECT_THAT(reference.GetUsingBundles(), ElementsAre(framework));
  first.reset();
  EXPECT_THAT(reference.GetUsingBundles(), ElementsAre(framework));
  second.reset();
  EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
}

TEST_F(AServiceRegistry, RefusesToGetAnUnregisteredService) {
  const std::string expected = "Default constructed ServiceReference is not a valid input to GetService()";
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.GetService(ServiceReference<Interface>()); }), expected);
  auto registration = add();
  const auto reference = registration.GetReference();
  registration.Unregister();
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.GetService(reference); }), expected);
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.GetServiceObjects(reference); }),
            "The service reference is invalid");
}

TEST_F(AServiceRegistry, ReturnsNoObjectsOfAnUnregisteredService) {
  auto registration = add();
  const auto objects = sut.GetServiceObjects(registration.GetReference());
  EXPECT_TRUE(objects.GetService());
  registration.Unregister();
  EXPECT_FALSE(objects.GetService());
}

TEST_F(AServiceRegistry, ReturnsNoObjectsThroughAStoppedContext) {
  const auto registration = add();
  const auto objects = sut.GetServiceObjects(registration.GetReference());
  stopAndWait(framework);
  EXPECT_THROW(objects.GetService(), IllegalStateException);
}

TEST_F(AServiceRegistry, ReturnsAllInterfacesOfAServiceAtOnce) {
  const auto both = std::make_shared<Both>();
  const ServiceReferenceU reference = sut.RegisterService<Interface, Other>(both).GetReference();
  const auto interfaces = sut.GetService(reference);
  EXPECT_EQ(ExtractInterface<Other>(interfaces).get(), static_cast<Other*>(both.get()));
  EXPECT_EQ(ExtractInterface(interfaces, "registrytest::Interface").get(), static_cast<Interface*>(both.get()));
  EXPECT_FALSE(ExtractInterface(interfaces, "nobody"));
}

TEST_F(AServiceRegistry, ReturnsTheReferenceThatAServiceWasGotWith) {
  const auto reference = add().GetReference();
  const auto service = sut.GetService(reference);
  EXPECT_EQ(ServiceReferenceFromService(service), reference);
  EXPECT_THROW(ServiceReferenceFromService(std::make_shared<Interface>()), std::runtime_error);
}

TEST_F(AServiceRegistry, ConvertsReferencesOnlyToInterfacesOfTheService) {
  const ServiceReferenceU reference = add().GetReference();
  EXPECT_TRUE(reference.IsConvertibleTo("registrytest::Interface"));
  EXPECT_FALSE(reference.IsConvertibleTo("registrytest::Other"));
  EXPECT_TRUE(ServiceReference<Interface>(reference));
  EXPECT_FALSE(ServiceReference<Other>(reference));
}

template <class T, class = void>
inline constexpr bool canBeUnequal = false;
template <class T>
inline constexpr bool canBeUnequal<T, std::void_t<decltype(std::declval<const T&>() != std::declval<const T&>())>> =
    true;
static_assert(!canBeUnequal<ServiceReference<Interface>> && !canBeUnequal<ServiceRegistration<Interface>>);

TEST_F(AServiceRegistry, GivesRegistrationsAHashAndAnOrder) {
  const auto first = add();
  const auto second = add();
  EXPECT_TRUE(first == first);
  EXPECT_FALSE(first == second);
  EXPECT_NE(first < second, second < first);
  EXPECT_EQ(std::hash<ServiceRegistrationBase>()(first), std::hash<ServiceRegistrationBase>()(first));
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations are known to crash or to corrupt their state.

TEST_F(AServiceRegistry, RefusesPropertiesOfTheWrongTypeBeforeItRegistersAnything) {
  const ServiceProperties wrong[] = {{{Constants::SERVICE_RANKING, 1L}},
                                     {{Constants::SERVICE_ID, 1}},
                                     {{Constants::SERVICE_SCOPE, 1}},
                                     {{Constants::OBJECTCLASS, std::string("one")}}};
  for (const auto& properties : wrong) {
    EXPECT_THROW(add(properties), std::invalid_argument) << properties.begin()->first;
  }
  EXPECT_THAT(sut.GetServiceReferences(""), IsEmpty());
}

TEST_F(AServiceRegistry, ToleratesAServiceThatClaimsForeignClasses) {
  auto registration = add({{Constants::OBJECTCLASS, std::vector<std::string>{"foreign"}}});
  EXPECT_TRUE(sut.GetServiceReference<Interface>());
  EXPECT_FALSE(sut.GetServiceReference("foreign"));
  registration.Unregister();
  EXPECT_FALSE(sut.GetServiceReference<Interface>());
  const auto next = add();
  EXPECT_TRUE(sut.GetServiceReference<Interface>());
}

TEST(ADefaultReference, ReturnsEmptyResults) {
  const ServiceReferenceU sut;
  EXPECT_FALSE(sut);
  EXPECT_TRUE(sut.GetProperty("key").Empty());
  EXPECT_THAT(sut.GetPropertyKeys(), IsEmpty());
  EXPECT_THAT(sut.GetUsingBundles(), IsEmpty());
  EXPECT_FALSE(sut.GetBundle());
  EXPECT_EQ(sut.GetInterfaceId(), "");
  EXPECT_FALSE(LDAPFilter("(key=1)").Match(sut));
}

TEST(ADefaultServiceEvent, HasNoServiceAndNoType) {
  const ServiceEvent sut;
  EXPECT_FALSE(sut);
  EXPECT_FALSE(sut.GetServiceReference());
  EXPECT_THROW(sut.GetType(), std::logic_error);
}

#endif

}  // namespace
