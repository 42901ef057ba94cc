#include "RuntimeCalls.hpp"

#include <dlfcn.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistrationBase.h>

namespace spf::test {

namespace {

thread_local RuntimeCalls* current = nullptr;

void calling(const char* name) {
  if (current != nullptr) {
    current->calling(name);
  }
}

// The runtime's own function of that symbol; a member function takes its object first.
template <class Function>
Function* original(const char* symbol) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace

RuntimeCalls::RuntimeCalls(std::function<void(const char*)> action, std::function<void()> afterLookUp,
                           std::function<void()> beforeValidityTest)
    : action_(std::move(action)),
      afterLookUp_(std::move(afterLookUp)),
      beforeValidityTest_(std::move(beforeValidityTest)) {
  current = this;
}

RuntimeCalls::~RuntimeCalls() {
  current = nullptr;
}

}  // namespace spf::test

// All of these come before the runtime's own when the program is linked.
namespace cppmicroservices {

using spf::test::calling;
using spf::test::original;

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(const std::string& clazz,
                                                                   const std::string& filter) {
  using Function = std::vector<ServiceReferenceU>(BundleContext*, const std::string&, const std::string&);
  static const auto function = original<Function>(
      "_ZN16cppmicroservices13BundleContext20GetServiceReferences"
      "ERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES8_");
  calling("GetServiceReferences");
  auto references = function(this, clazz, filter);
  if (spf::test::current != nullptr) {
    spf::test::current->lookedUp();
  }
  return references;
}

ServiceRegistrationU BundleContext::RegisterService(const InterfaceMapConstPtr& service,
                                                    const ServiceProperties& properties) {
  using Function = ServiceRegistrationU(BundleContext*, const InterfaceMapConstPtr&, const ServiceProperties&);
  static const auto function = original<Function>(
      "_ZN16cppmicroservices13BundleContext15RegisterService"
      "ERKSt10shared_ptrIKSt13unordered_mapINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES1_IvE"
      "St4hashIS8_ESt8equal_toIS8_ESaISt4pairIKS8_S9_EEEERKS2_IS8_NS_3AnyESB_SD_SaISE_ISF_SN_EEE");
  calling("RegisterService");
  return function(this, service, properties);
}

ServiceReferenceBase::operator bool() const {
  using Function = bool(const ServiceReferenceBase*);
  static const auto function = original<Function>("_ZNK16cppmicroservices20ServiceReferenceBasecvbEv");
  if (spf::test::current != nullptr) {
    spf::test::current->testingValidity();
  }
  return function(this);
}

std::shared_ptr<void> ServiceObjectsBase::GetService() const {
  using Function = std::shared_ptr<void>(const ServiceObjectsBase*);
  static const auto function = original<Function>("_ZNK16cppmicroservices18ServiceObjectsBase10GetServiceEv");
  calling("GetService");
  return function(this);
}

void ServiceRegistrationBase::Unregister() {
  using Function = void(ServiceRegistrationBase*);
  static const auto function = original<Function>("_ZN16cppmicroservices23ServiceRegistrationBase10UnregisterEv");
  calling("Unregister");
  function(this);
}

}  // namespace cppmicroservices
