#include "Workspace.hpp"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "spf/test/addressOfThisProcess.hpp"

namespace spf::test {

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

// Below the ports that the system gives to connections: the connection of another test could take one of those.
constexpr int firstPort = 20000;

}  // namespace

Workspace::Workspace() {
  std::string name = (std::filesystem::temp_directory_path() / "spfctl-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder");
  }
  path_ = name;
}

Workspace::~Workspace() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Workspace::write(const std::string& name, const std::string& content) const {
  const auto file = path_ / name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  chmod(file.c_str(), S_IRUSR | S_IWUSR);
  return file.string();
}

ListeningSocket::ListeningSocket() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), port_(0) {
  auto address = loopback(0);
  socklen_t size = sizeof(address);
  if (bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(socket_, 1) != 0 ||
      getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("cannot listen on a port");
  }
  port_ = ntohs(address.sin_port);
}

ListeningSocket::~ListeningSocket() {
  close(socket_);
}

std::string freeEndpoint() {
  static std::atomic<int> next{firstPort};
  return "tcp://" + addressOfThisProcess() + ":" + std::to_string(next++);
}

bool isOpen(const std::string& endpoint) {
  const auto colon = endpoint.rfind(':');
  const auto host = endpoint.rfind('/', colon) + 1;
  auto address = loopback(std::stoi(endpoint.substr(colon + 1)));
  if (inet_pton(AF_INET, endpoint.substr(host, colon - host).c_str(), &address.sin_addr) != 1) {
    throw std::invalid_argument("no numeric address: " + endpoint);
  }
  const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool open = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  close(client);
  return open;
}

}  // namespace spf::test
