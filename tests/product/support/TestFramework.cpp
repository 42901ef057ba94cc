#include "TestFramework.hpp"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>

#include "spf/test/Gate.hpp"

namespace spf::test {

namespace listener = agent::spf::frameworklistener;

namespace {

const std::string factoryPrefix = "zk.spf.framework~";

std::string temporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "spf-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder");
  }
  return name;
}

// Some Configuration Admin bundles need a library from their own folder and have no run path.
void loadNeighbour(const std::filesystem::path& bundle, const char* name) {
  const auto neighbour = bundle.parent_path() / name;
  if (std::filesystem::exists(neighbour)) {
    dlopen(neighbour.c_str(), RTLD_NOW | RTLD_GLOBAL);
  }
}

// Null when another thread has unregistered it since it was looked up.
std::shared_ptr<listener::FrameworkListener> serviceOf(
    cppmicroservices::BundleContext& context,
    const cppmicroservices::ServiceReference<listener::FrameworkListener>& reference) {
  try {
    return context.GetService(reference);
  } catch (const std::invalid_argument&) {
    return nullptr;
  }
}

}  // namespace

TestFramework::TestFramework() : storage_(temporaryFolder()) {
  cppmicroservices::FrameworkConfiguration configuration{
      {cppmicroservices::Constants::FRAMEWORK_STORAGE, Any(storage_)}};
  framework_ = std::make_shared<cppmicroservices::Framework>(
      cppmicroservices::FrameworkFactory().NewFramework(std::move(configuration)));
  framework_->Start();
  host_.setFramework(framework_);
}

TestFramework::~TestFramework() {
  configurationAdmin_ = {};
  stop();
  for (const auto& action : endings_) {
    action();
  }
  host_.setFramework(nullptr);
  framework_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(storage_, ignored);
}

void TestFramework::startConfigurationAdmin() {
  if (!configurationAdmin_) {
    const std::filesystem::path file = SPF_CONFIGURATION_ADMIN;
    loadNeighbour(file, "libusAsyncWorkService.so");
    configurationAdmin_ = context().InstallBundles(file.string()).front();
  }
  configurationAdmin_.Start();
}

void TestFramework::stopConfigurationAdmin() {
  configurationAdmin_.Stop();
}

void TestFramework::stop() {
  framework_->Stop();
  framework_->WaitForStop(std::chrono::milliseconds::zero());
}

std::unique_ptr<AnyMap> TestFramework::configuration(const std::string& id) {
  const auto admin = context().GetService(context().GetServiceReference<cm::ConfigurationAdmin>());
  for (const auto& configuration : admin->ListConfigurations()) {
    if (configuration->GetPid() == factoryPrefix + id) {
      return std::make_unique<AnyMap>(configuration->GetProperties());
    }
  }
  return nullptr;
}

std::vector<std::string> TestFramework::configurationIDs() {
  std::vector<std::string> ids;
  const auto admin = context().GetService(context().GetServiceReference<cm::ConfigurationAdmin>());
  for (const auto& configuration : admin->ListConfigurations()) {
    if (configuration->GetFactoryPid() == "zk.spf.framework") {
      ids.push_back(configuration->GetPid().substr(factoryPrefix.size()));
    }
  }
  return ids;
}

std::size_t TestFramework::listeners() const {
  return context().GetServiceReferences<listener::FrameworkListener>().size();
}

bool TestFramework::waitForAListener() {
  // Shared with the listener, which may still be running when it was removed.
  const auto registered = std::make_shared<Gate>();
  auto bundleContext = context();
  auto token = bundleContext.AddServiceListener([registered](const cppmicroservices::ServiceEvent& event) {
    if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_REGISTERED) {
      registered->open();
    }
  });
  const bool present = listeners() > 0 || registered->wait();
  bundleContext.RemoveListener(std::move(token));
  return present && listeners() > 0;
}

void TestFramework::deliver(const std::shared_ptr<const listener::FrameworkEvent>& event) {
  auto bundleContext = context();
  for (const auto& reference : bundleContext.GetServiceReferences<listener::FrameworkListener>()) {
    if (const auto service = serviceOf(bundleContext, reference)) {
      service->handleEvent(event);
    }
  }
}

void TestFramework::sendBound(const std::string& publisher, std::uint32_t count, Any endpoint) {
  send(listener::EndpointEvent{
      {listener::FrameworkEvent::endpoint}, listener::EndpointEvent::bound, std::move(endpoint), publisher, count});
}

void TestFramework::sendConnected(const std::string& publisher, std::uint32_t count, Any endpoint) {
  send(listener::EndpointEvent{
      {listener::FrameworkEvent::endpoint}, listener::EndpointEvent::connected, std::move(endpoint), publisher, count});
}

void TestFramework::sendPublished(const std::string& publisher, std::uint32_t count) {
  send(listener::ServicesEvent{
      {listener::FrameworkEvent::services}, listener::ServicesEvent::allPublished, publisher, count});
}

void TestFramework::sendUnpublished(const std::string& publisher, std::uint32_t count) {
  send(listener::ServicesEvent{
      {listener::FrameworkEvent::services}, listener::ServicesEvent::allUnpublished, publisher, count});
}

void TestFramework::sendError(const std::string& publisher, std::uint32_t count, std::exception_ptr error) {
  send(listener::ErrorEvent{{listener::FrameworkEvent::error}, std::move(error), publisher, count});
}

std::vector<std::string> texts(const List& endpoints) {
  std::vector<std::string> result;
  for (const auto& endpoint : endpoints) {
    result.push_back(cppmicroservices::any_cast<std::string>(endpoint));
  }
  return result;
}

}  // namespace spf::test
