#include <type_traits>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"

// The exact signature of every exported operation: a conversion to another one does not compile.
namespace spf::test {

namespace {

using agent::spf::frameworksetup::addRequiredRuntimeServiceProperties;
using agent::spf::frameworksetup::setupFramework;
using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworksetup::SPFServiceInterfaceConfiguration;
using agent::spf::frameworksetup::SPFServicePublisherConfiguration;
using boost::property_tree::ptree;
using std::chrono::milliseconds;
using Builder = SPFConfigurationBuilder;
using Handle = SPFConfiguration;
using List = std::vector<cppmicroservices::Any>;
using Set = std::set<std::string>;
using Text = std::string;

// The parameter's type selects the overload.
template <class Operation>
constexpr bool hasOverload(Operation) {
  return true;
}

template <class... Arguments>
using Edit = Builder& (Builder::*)(Arguments...);

static_assert(hasOverload<Edit<SPFServiceInterfaceConfiguration>>(&Builder::addServiceInterface));
static_assert(hasOverload<Edit<Text, Text, ptree>>(&Builder::addServiceInterface));
static_assert(hasOverload<Edit<SPFServiceInterfaceConfiguration>>(&Builder::addServiceInterfaceToAllServicePublishers));
static_assert(hasOverload<Edit<Text, Text, ptree>>(&Builder::addServiceInterfaceToAllServicePublishers));
static_assert(
    hasOverload<Edit<const Text&, SPFServiceInterfaceConfiguration>>(&Builder::addServiceInterfaceToServicePublisher));
static_assert(hasOverload<Edit<const Text&, Text, Text, ptree>>(&Builder::addServiceInterfaceToServicePublisher));
static_assert(std::is_same_v<decltype(&Builder::addServiceMapping), Edit<const Text&, const Text&>>);
static_assert(hasOverload<Edit<SPFServicePublisherConfiguration>>(&Builder::addServicePublisher));
static_assert(hasOverload<Edit<Text, Text, Set, Set, Text, Text>>(&Builder::addServicePublisher));
static_assert(std::is_same_v<decltype(&Builder::addServicePublisherAny), Edit<Text, Text, List, List, Text, Text>>);
static_assert(std::is_same_v<decltype(&Builder::removeServiceInterface), Edit<const Text&>>);
static_assert(std::is_same_v<decltype(&Builder::removeServicePublisher), Edit<const Text&>>);
static_assert(std::is_same_v<decltype(&Builder::removeServiceMapping), Edit<const Text&, const Text&>>);
static_assert(
    std::is_same_v<decltype(&Builder::undoMappingOfServiceInterfaceToAllServicePublishers), Edit<const Text&>>);
static_assert(std::is_same_v<decltype(&Builder::build), Handle (Builder::*)()>);
static_assert(std::is_same_v<decltype(std::declval<Builder&>() = std::declval<Builder>()), Builder&>);
static_assert(std::is_convertible_v<Text, Builder>);
static_assert(std::is_default_constructible_v<Builder>);

using Wait = bool (Handle::*)(const milliseconds&, const Text&);

static_assert(std::is_same_v<decltype(&Handle::empty), bool (Handle::*)() const noexcept>);
static_assert(std::is_same_v<decltype(&Handle::getConfigurationID), const Text (Handle::*)() const>);
static_assert(std::is_same_v<decltype(&Handle::getServiceInterfaceConfigurations),
                             std::vector<SPFServiceInterfaceConfiguration> (Handle::*)() const>);
static_assert(std::is_same_v<decltype(&Handle::getServicePublisherConfigurations),
                             std::vector<SPFServicePublisherConfiguration> (Handle::*)() const>);
static_assert(std::is_same_v<decltype(&Handle::getServiceInterfaceConfigurationsForServicePublisher),
                             std::vector<SPFServiceInterfaceConfiguration> (Handle::*)(const Text&) const>);
static_assert(std::is_same_v<decltype(&Handle::modify), Builder (Handle::*)()>);
static_assert(std::is_same_v<decltype(&Handle::waitForAllEndpoints), Wait>);
static_assert(std::is_same_v<decltype(&Handle::waitForAllServices), Wait>);
static_assert(std::is_same_v<decltype(&Handle::waitForAllServicesToBeUnpublished), Wait>);
static_assert(
    std::is_same_v<decltype(&Handle::listOutstandingEndpoints), std::pair<List, List> (Handle::*)(const Text&)>);
static_assert(std::is_same_v<decltype(&Handle::reset), void (Handle::*)() noexcept>);
static_assert(std::is_same_v<decltype(std::declval<Handle&>() = std::declval<Handle>()), Handle&>);

static_assert(std::is_same_v<decltype(&setupFramework), void (*)()>);
static_assert(
    std::is_same_v<decltype(&addRequiredRuntimeServiceProperties), void (*)(ptree&, const Text&, const Text&)>);

}  // namespace

}  // namespace spf::test
