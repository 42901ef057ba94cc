#pragma once

#include <functional>
#include <memory>

#include <cppmicroservices/ServiceRegistration.h>

#include "ConfigurationAdminDouble.hpp"

namespace spf::test {

/// While it lives, the double is registered through a service factory instead, so that the release of the
/// service itself is seen too.
class Lending {
 public:
  /// \param onRelease  called when the library releases what it was handed from now on, with
  ///                   "Configuration", "future" or "ConfigurationAdmin"
  Lending(TestFramework& framework, const std::shared_ptr<ConfigurationAdminDouble>& admin,
          std::function<void(const char*)> onRelease);
  ~Lending();
  Lending(const Lending&) = delete;
  Lending& operator=(const Lending&) = delete;

 private:
  cppmicroservices::ServiceRegistration<cm::ConfigurationAdmin> registration_;
};

}  // namespace spf::test
