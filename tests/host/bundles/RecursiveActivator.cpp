#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "agent/host/services.hpp"

namespace {

/// Installs its own directory, and another one, inside its start.
class RecursiveActivator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext) override {
    for (const auto* name : {L"recursive", L"other"}) {
      agent::host::filesystem::path directory;
      agent::host::services::installAndStart(directory.append(name));
    }
  }
  void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(RecursiveActivator)
