#include "RunningFramework.hpp"

#include <atomic>
#include <cstdint>
#include <stdexcept>

#include <arpa/inet.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "spf/test/addressOfThisProcess.hpp"

namespace frameworktest {

using agent::host::services::getFramework;
using agent::host::services::HostOptions;
using agent::host::services::installAndStart;
using agent::spf::frameworklistener::FrameworkListener;
using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ConfigurationAdmin;
using spf::test::addressOfThisProcess;

namespace {

constexpr auto factoryPID = "zk.spf.framework";
constexpr int firstPort = 20000;

// Below the ports that the system gives to connections: the connection of another test could take one of those.
constexpr unsigned int firstCommonPort = 10000;
constexpr unsigned int portCount = 10000;

HostOptions optionsWith(const AnyMap& discoveryTable, const AnyMap& properties) {
  HostOptions options;
  options.permissionCheck = false;  // the build tree may have any permissions
  options.frameworkProperties["spf.discovery"] = discoveryTable;
  for (const auto& [key, value] : properties) {
    options.frameworkProperties[key] = value;
  }
  return options;
}

agent::host::filesystem::path directory(const wchar_t* name) {
  agent::host::filesystem::path path;
  return path.append(L"bin").append(L"win64").append(L"spf").append(name);
}

/// Tells whether a port is free on all addresses of this machine.
bool isFree(unsigned int port) {
  const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<std::uint16_t>(port));
  const bool result = bind(probe, reinterpret_cast<const sockaddr*>(&where), sizeof(where)) == 0;
  close(probe);
  return result;
}

}  // namespace

RunningFramework::RunningFramework(const AnyMap& discoveryTable, const AnyMap& properties)
    : host_(optionsWith(discoveryTable, properties)) {
  for (const auto* name : {L"serialisationproviders", L"externalprocessdiscovery", L"providers", L"framework",
                           L"servicepublishers", L"clients"}) {
    installAndStart(directory(name));
  }
  installAndStart(directory(L"serviceproviders"), cppmicroservices::LDAPFilter("(bundle.activator=false)"));
  registration_ = context().RegisterService<FrameworkListener>(listener_);
}

RunningFramework::~RunningFramework() {
  registration_.Unregister();
}

cppmicroservices::BundleContext RunningFramework::context() {
  return getFramework()->GetBundleContext();
}

cppmicroservices::Bundle RunningFramework::bundle(const std::string& name) {
  for (const auto& bundle : context().GetBundles()) {
    if (bundle.GetSymbolicName() == name) {
      return bundle;
    }
  }
  throw std::runtime_error("no bundle " + name);
}

void RunningFramework::update(const std::string& id, const Configuration& configuration) {
  service<ConfigurationAdmin>()->GetFactoryConfiguration(factoryPID, id)->Update(configuration.properties());
}

void RunningFramework::remove(const std::string& id) {
  service<ConfigurationAdmin>()->GetFactoryConfiguration(factoryPID, id)->Remove();
}

std::string freeAddress() {
  static std::atomic<int> next{firstPort};
  return "tcp://" + addressOfThisProcess() + ":" + std::to_string(next++);
}

std::string freePort() {
  static std::atomic<unsigned int> next{static_cast<unsigned int>(getpid()) * 16};
  for (unsigned int attempt = 0; attempt < portCount; ++attempt) {
    const unsigned int port = firstCommonPort + next++ % portCount;
    if (isFree(port)) {
      return std::to_string(port);
    }
  }
  throw std::runtime_error("cannot find a free port");
}

TakenPort::TakenPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const auto colon = address_.rfind(':');
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address_.substr(colon + 1))));
  inet_pton(AF_INET, addressOfThisProcess().c_str(), &where.sin_addr);
  if (bind(socket_, reinterpret_cast<const sockaddr*>(&where), sizeof(where)) != 0 || listen(socket_, 1) != 0) {
    throw std::runtime_error("cannot take " + address_);
  }
}

TakenPort::~TakenPort() {
  close(socket_);
}

}  // namespace frameworktest
