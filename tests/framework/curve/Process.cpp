#include "Process.hpp"

#include <filesystem>
#include <fstream>
#include <utility>

#include <sys/stat.h>

namespace spf::test {

using agent::spf::security::PublicKey;
using agent::spf::security::SecretKey;

Process::Process(std::string name) : name_(std::move(name)) {}

zeromq::ZeroMqTransport& Process::transport() {
  if (!transport_) {
    std::unique_ptr<zeromq::Identity> identity;
    if (!name_.empty()) {
      identity = std::make_unique<zeromq::Identity>(SecretKey(key_.bytes()), trusted_.path(), nullptr);
    }
    transport_ = std::make_unique<zeromq::ZeroMqTransport>(std::move(identity));
  }
  return *transport_;
}

void Process::trust(const std::string& name, const PublicKey& key) const {
  const auto file = trusted_.path() + "/" + name + ".pub";
  const auto draft = trusted_.path() + "/." + name;
  std::ofstream(draft) << key.text() << '\n';
  chmod(draft.c_str(), 0644);
  std::filesystem::rename(draft, file);
}

void Process::distrust(const std::string& name) const {
  std::filesystem::remove(trusted_.path() + "/" + name + ".pub");
}

Process::Opened Process::bind(const std::string& address, const std::string& key) {
  const auto endpoint = std::make_shared<RecordedEndpoint>();
  return {transport().bind({"server", address, address, key}, endpoint), endpoint};
}

Process::Opened Process::bound(const std::string& address) {
  auto opened = bind(address);
  opened.endpoint->waitForOpening();
  return opened;
}

Process::Opened Process::connect(const std::string& address, const std::string& key) {
  const auto endpoint = std::make_shared<RecordedEndpoint>();
  return {transport().connect({"client", "server", address, key}, endpoint), endpoint};
}

std::string Process::ask(const std::string& request) {
  return transport().ask("client", "server", request, std::chrono::seconds(20));
}

}  // namespace spf::test
