#include "EndToEnd.hpp"

#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "spf/test/Gate.hpp"

namespace spf::test {

using nlohmann::json;
namespace fs = std::filesystem;

Configuration& Configuration::publisher(const std::string& id, const Texts& bind, const Texts& connect,
                                        const std::string& exportFilter) {
  publishers_.push_back({{"uniqueID", id},
                         {"name", "rpcservicepublisher"},
                         {"endpointsToBindTo", bind},
                         {"endpointsToConnectTo", connect}});
  if (!exportFilter.empty()) {
    publishers_.back()["exportFilter"] = exportFilter;
  }
  return *this;
}

Configuration& Configuration::interface(const std::string& id, const std::string& name) {
  interfaces_.push_back({{"uniqueID", id}, {"name", name}, {"toAllServicePublishers", true}});
  return *this;
}

std::string Configuration::text() const {
  return json{{"configurationID", id_}, {"serviceInterfaces", interfaces_}, {"servicePublishers", publishers_}}.dump(1);
}

RawClient::RawClient(const fs::path& path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  int code = 0;
  do {
    code = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  } while (code != 0 && errno == EINTR);
  isConnected_ = code == 0;
}

RawClient::RawClient(RawClient&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)),
      isConnected_(other.isConnected_),
      received_(std::move(other.received_)) {}

RawClient::~RawClient() {
  if (socket_ >= 0) {
    close(socket_);
  }
}

bool RawClient::send(const std::string& text) const {
  for (std::size_t sent = 0; sent < text.size();) {
    const auto count = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count < 0 && errno != EINTR) {
      return false;
    }
    sent += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  return true;
}

std::size_t RawClient::sendWhatFits(const std::string& text) const {
  const auto count = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool RawClient::readSome() {
  pollfd channel{socket_, POLLIN, 0};
  const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience).count();
  if (poll(&channel, 1, static_cast<int>(limit)) <= 0) {
    return false;
  }
  char buffer[65536];
  const auto count = recv(socket_, buffer, sizeof(buffer), 0);
  if (count > 0) {
    received_.append(buffer, static_cast<std::size_t>(count));
  }
  return count > 0;
}

std::optional<std::string> RawClient::readLine() {
  std::size_t end = 0;
  std::size_t searched = 0;
  while ((end = received_.find('\n', searched)) == std::string::npos) {
    searched = received_.size();
    if (!readSome()) {
      return std::nullopt;
    }
  }
  auto line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return line;
}

bool RawClient::waitForEnd() {
  while (readSome()) {
    received_.clear();
  }
  pollfd channel{socket_, POLLIN, 0};
  char byte = 0;
  // A host that closes while something is unread resets the connection.
  return poll(&channel, 1, 0) > 0 && recv(socket_, &byte, 1, MSG_DONTWAIT) <= 0 && errno != EAGAIN;
}

Barrier::Barrier(std::string file)
    : file_(std::move(file)), descriptor_(open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
  if (descriptor_ < 0) {
    throw std::runtime_error("cannot open " + file_);
  }
}

Barrier::~Barrier() {
  close(descriptor_);
}

void Barrier::raise() {
  while (flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
  }
}

void Barrier::lower() {
  flock(descriptor_, LOCK_UN);
}

void EndToEnd::TearDown() {
  EXPECT_THAT(leftOver(), testing::IsEmpty()) << "left in the control folder";
}

std::vector<std::string> EndToEnd::leftOver() const {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(control(), error), end; !error && entry != end; entry.increment(error)) {
    names.push_back(entry->path().filename());
  }
  return names;
}

EndToEnd::Arguments EndToEnd::host(const std::string& file, const Arguments& more) const {
  Arguments arguments = {SPFCTL, "run", file, "--control-dir", control().string()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  // One that is killed leaves the folder that it has made for its framework.
  return withEnvironment({"TMPDIR=" + workspace_.path().string()}, arguments);
}

EndToEnd::Arguments EndToEnd::client(const Arguments& arguments) const {
  Arguments all = {SPFCTL};
  all.insert(all.end(), arguments.begin(), arguments.end());
  all.insert(all.end(), {"--control-dir", control().string()});
  return all;
}

EndToEnd::Result EndToEnd::resultOf(Process& process) {
  const int code = process.wait();
  return {code, process.out(), process.err()};
}

EndToEnd::Result EndToEnd::call(const Arguments& arguments) const {
  Process process(client(arguments));
  return resultOf(process);
}

json EndToEnd::status(const std::string& host) const {
  RawClient client(socketOf(host));
  if (!client.isConnected() || !client.send("{\"version\": 1, \"request\": \"status\"}\n")) {
    return {};
  }
  const auto line = client.readLine();
  return line ? json::parse(*line, nullptr, false) : json();
}

bool EndToEnd::waitForStatus(const std::string& host, const std::function<bool(const json&)>& condition) const {
  return askUntil([&] {
    auto answer = status(host);
    return answer.is_object() && answer.contains("configuration") && condition(answer);
  });
}

bool EndToEnd::waitForState(const std::string& host, const std::string& state) const {
  return waitForStatus(host, [&](const json& answer) { return answer["configuration"]["state"] == state; });
}

bool EndToEnd::waitForRevision(const std::string& host, unsigned revision) const {
  return waitForStatus(host, [&](const json& answer) { return answer["configuration"]["revision"] == revision; });
}

bool EndToEnd::waitForPhase(const std::string& host, const std::string& endpoint, const std::string& phase) const {
  return waitForStatus(host, [&](const json& answer) {
    const auto endpoints = endpointsOf(answer);
    return std::any_of(endpoints.begin(), endpoints.end(),
                       [&](const json& record) { return record["endpoint"] == endpoint && record["phase"] == phase; });
  });
}

void EndToEnd::end(Process& host) {
  // What it is connected to may be ready before the host itself has noted that it is.
  EXPECT_TRUE(host.waitForOutput("ready: ")) << host.out() << host.err();
  host.signal(SIGTERM);
  EXPECT_EQ(host.wait(), 0) << host.out() << host.err();
  EXPECT_THAT(host.out(), testing::EndsWith("withdrawn\n"));
}

void EndToEnd::killNow(Process& process) {
  process.signal(SIGKILL);
  EXPECT_EQ(process.wait(), 1000 + SIGKILL);
}

std::string EndToEnd::makeTree() const {
  const auto bundles = fs::path("bin") / "win64" / "spf";
  const auto tree = workspace_.path() / "tree";
  for (const auto& folder : fs::directory_iterator(fs::path(SPF_TREE) / bundles)) {
    const auto copy = tree / bundles / folder.path().filename();
    fs::create_directories(copy);
    for (const auto& file : fs::directory_iterator(folder.path())) {
      fs::create_symlink(file.path(), copy / file.path().filename());
    }
  }
  return tree.string();
}

std::string EndToEnd::addBundle(const std::string& bundle) const {
  const auto copy = workspace_.path() / "tree" / "bin" / "win64" / "spf" / "providers" / fs::path(bundle).filename();
  fs::copy_file(bundle, copy, fs::copy_options::overwrite_existing);
  return copy.string();
}

EndToEnd::Arguments EndToEnd::withEnvironment(const Arguments& variables, const Arguments& command) {
  Arguments all = {"/usr/bin/env"};
  all.insert(all.end(), variables.begin(), variables.end());
  all.insert(all.end(), command.begin(), command.end());
  return all;
}

bool askUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
  }
  return true;
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<json> endpointsOf(const json& status) {
  std::vector<json> endpoints;
  for (const auto& publisher : status.value("publishers", json::array())) {
    for (const auto& endpoint : publisher["endpoints"]) {
      endpoints.push_back(endpoint);
    }
  }
  return endpoints;
}

json recordOf(const json& status, const std::string& endpoint) {
  for (const auto& record : endpointsOf(status)) {
    if (record["endpoint"] == endpoint) {
      return record;
    }
  }
  return {};
}

}  // namespace spf::test
