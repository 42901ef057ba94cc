#include <sys/file.h>

#include <cstdlib>
#include <memory>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace {

using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;

/// Blocks the delivery of every event for as long as a test holds the lock of the file.
class BlockingListener : public FrameworkListener {
 public:
  explicit BlockingListener(std::string file) : file_(std::move(file)) {}

  void handleEvent(std::shared_ptr<const FrameworkEvent>) override {
    const int descriptor = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
    while (flock(descriptor, LOCK_SH) != 0 && errno == EINTR) {
    }
    close(descriptor);
  }

 private:
  const std::string file_;
};

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    const char* const file = std::getenv("SPFCTL_TEST_BARRIER");
    // Before all other listeners, which see nothing of an event that blocks.
    context.RegisterService<FrameworkListener>(
        std::make_shared<BlockingListener>(file == nullptr ? "" : file),
        {{cppmicroservices::Constants::SERVICE_RANKING, cppmicroservices::Any(1000)}});
  }
  void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
