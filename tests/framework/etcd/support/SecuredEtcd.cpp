#include "SecuredEtcd.hpp"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace etcdtest {

std::string SecuredEtcd::whyNone() {
  const auto reason = whyNoEtcd();
  return reason.empty() ? whyNoCertificates() : reason;
}

SecuredEtcd::SecuredEtcd(Clients clients, const std::vector<std::string>& arguments)
    : member_(options(clients, arguments)) {
  if (!member_.waitUntilServing()) {
    throw std::runtime_error("the member does not serve clients:\n" + member_.log());
  }
  member_.control({"role", "add", "hosts"});
  member_.control({"role", "grant-permission", "--prefix=true", "hosts", "readwrite", "/spf/"});
  member_.control({"role", "add", "readers"});
  member_.control({"role", "grant-permission", "--prefix=true", "readers", "read", "/spf/"});
  const std::vector<std::vector<std::string>> users = {{"root", "Sesame-41-of-root", "root"},
                                                       {"host", passwordOfHost, "hosts"},
                                                       {"reader", passwordOfReader, "readers"}};
  for (const auto& user : users) {
    member_.control({"user", "add", user[0] + ":" + user[1]});
    member_.control({"user", "grant-role", user[0], user[2]});
  }
  member_.control({"auth", "enable"});
}

SecuredEtcd::Properties SecuredEtcd::properties() const {
  return {{"spf.discovery.etcd", member_.url()},
          {"spf.discovery.etcd.ca", certificates_.certificate("ca")},
          {"spf.discovery.etcd.cert", certificates_.certificate("client")},
          {"spf.discovery.etcd.key", certificates_.key("client")},
          {"spf.discovery.etcd.user", "host"},
          {"spf.discovery.etcd.password_file", passwordFile(passwordOfHost)}};
}

std::string SecuredEtcd::passwordFile(const std::string& password) const {
  auto file = folder_.path() + "/password-" + std::to_string(std::hash<std::string>()(password));
  std::ofstream(file) << password << '\n';
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  return file;
}

EtcdOptions SecuredEtcd::options(Clients clients, const std::vector<std::string>& arguments) const {
  EtcdOptions options;
  options.folder = folder_.path();
  options.scheme = "https";
  options.arguments = {"--cert-file", certificates_.certificate("server"), "--key-file", certificates_.key("server")};
  if (clients == Clients::certified) {
    options.arguments.insert(options.arguments.end(),
                             {"--client-cert-auth", "--trusted-ca-file", certificates_.certificate("ca")});
  }
  options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
  options.controlArguments = {"--cacert", certificates_.certificate("ca"),
                              "--cert",   certificates_.certificate("client"),
                              "--key",    certificates_.key("client")};
  return options;
}

}  // namespace etcdtest
