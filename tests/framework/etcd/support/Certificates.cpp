#include "Certificates.hpp"

#include <cstdlib>
#include <stdexcept>

#include "EtcdProcess.hpp"

namespace etcdtest {

namespace {

constexpr auto newKey = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout ";

}  // namespace

std::string whyNoCertificates() {
  return std::system("openssl version >/dev/null 2>&1") == 0 ? "" : "openssl is not installed";
}

Certificates::Certificates() {
  makeAuthority("ca");
  makeAuthority("stranger");
  sign("server", "subjectAltName=IP:" + addressOfThisProcess() + "\\nextendedKeyUsage=serverAuth,clientAuth");
  sign("client", "extendedKeyUsage=clientAuth");
}

void Certificates::makeAuthority(const std::string& name) const {
  run("openssl req -x509 -days 2 -subj /CN=" + name + newKey + name + ".key -out " + name + ".pem");
}

void Certificates::sign(const std::string& name, const std::string& extensions) const {
  run("openssl req -subj /O=" + name + newKey + name + ".key -out " + name + ".csr");
  run("printf '" + extensions + "' > " + name + ".ext");
  run("openssl x509 -req -in " + name + ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile " + name +
      ".ext -out " + name + ".pem");
}

void Certificates::run(const std::string& command) const {
  if (std::system(("cd " + folder_.path() + " && { " + command + "; } 2>/dev/null").c_str()) != 0) {
    throw std::runtime_error("this command fails: " + command);
  }
}

}  // namespace etcdtest
