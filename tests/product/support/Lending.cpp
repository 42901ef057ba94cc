#include "Lending.hpp"

#include <utility>

#include <cppmicroservices/ServiceFactory.h>

namespace spf::test {

namespace {

class Lender : public cppmicroservices::ServiceFactory {
 public:
  Lender(std::shared_ptr<cm::ConfigurationAdmin> admin, std::function<void(const char*)> onRelease)
      : admin_(std::move(admin)), onRelease_(std::move(onRelease)) {}

  cppmicroservices::InterfaceMapConstPtr GetService(const cppmicroservices::Bundle&,
                                                    const cppmicroservices::ServiceRegistrationBase&) override {
    return cppmicroservices::MakeInterfaceMap<cm::ConfigurationAdmin>(admin_);
  }
  void UngetService(const cppmicroservices::Bundle&, const cppmicroservices::ServiceRegistrationBase&,
                    const cppmicroservices::InterfaceMapConstPtr&) override {
    onRelease_("ConfigurationAdmin");
  }

 private:
  const std::shared_ptr<cm::ConfigurationAdmin> admin_;
  const std::function<void(const char*)> onRelease_;
};

}  // namespace

Lending::Lending(TestFramework& framework, const std::shared_ptr<ConfigurationAdminDouble>& admin,
                 std::function<void(const char*)> onRelease) {
  admin->onRelease(onRelease);
  admin->unregister();
  registration_ = framework.context().RegisterService<cm::ConfigurationAdmin>(
      std::shared_ptr<cppmicroservices::ServiceFactory>(std::make_shared<Lender>(admin, std::move(onRelease))));
}

Lending::~Lending() {
  registration_.Unregister();
}

}  // namespace spf::test
