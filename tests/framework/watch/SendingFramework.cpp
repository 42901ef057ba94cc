#include "SendingFramework.hpp"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceReference.h>
#include <stdlib.h>

namespace watchtest {

namespace events = agent::spf::frameworklistener;

namespace {

std::string makeTemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "spf-watch-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder");
  }
  return name;
}

}  // namespace

SendingFramework::SendingFramework()
    : storage_(makeTemporaryFolder()),
      framework_(cppmicroservices::FrameworkFactory().NewFramework(cppmicroservices::FrameworkConfiguration{
          {cppmicroservices::Constants::FRAMEWORK_STORAGE, cppmicroservices::Any(storage_)}})) {
  framework_.Start();
}

SendingFramework::~SendingFramework() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(storage_, ignored);
}

void SendingFramework::stop() {
  framework_.Stop();
  framework_.WaitForStop(std::chrono::milliseconds::zero());
}

std::vector<std::shared_ptr<events::FrameworkListener>> SendingFramework::listeners() const {
  std::vector<std::shared_ptr<events::FrameworkListener>> result;
  auto bundleContext = context();
  for (const auto& reference : bundleContext.GetServiceReferences<events::FrameworkListener>()) {
    try {
      if (auto listener = bundleContext.GetService(reference)) {
        result.push_back(std::move(listener));
      }
    } catch (const std::invalid_argument&) {
      // Unregistered by another thread since it was looked up.
    }
  }
  return result;
}

void SendingFramework::sendBound(const std::string& publisher, std::uint32_t count) const {
  send(events::EndpointEvent{{events::FrameworkEvent::endpoint},
                             events::EndpointEvent::bound,
                             std::string("inproc://" + publisher),
                             publisher,
                             count});
}

void SendingFramework::sendPublished(const std::string& publisher, std::uint32_t count) const {
  send(
      events::ServicesEvent{{events::FrameworkEvent::services}, events::ServicesEvent::allPublished, publisher, count});
}

void SendingFramework::sendUnpublished(const std::string& publisher, std::uint32_t count) const {
  send(events::ServicesEvent{
      {events::FrameworkEvent::services}, events::ServicesEvent::allUnpublished, publisher, count});
}

void SendingFramework::sendError(const std::string& publisher, std::uint32_t count, std::exception_ptr error) const {
  send(events::ErrorEvent{{events::FrameworkEvent::error}, std::move(error), publisher, count});
}

void SendingFramework::sendError(const std::string& publisher, std::uint32_t count, const char* reason) const {
  sendError(publisher, count, std::make_exception_ptr(std::runtime_error(reason)));
}

}  // namespace watchtest
