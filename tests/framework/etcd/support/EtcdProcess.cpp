#include "EtcdProcess.hpp"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>
#include "spf/test/Gate.hpp"

namespace etcdtest {

namespace {

constexpr auto servesClients = "serving client traffic";

/// Finds a program in the folders that PATH names.
std::string findProgram(const std::string& name) {
  const char* folders = std::getenv("PATH");
  std::istringstream path(folders != nullptr ? folders : "/usr/bin:/bin");
  for (std::string folder; std::getline(path, folder, ':');) {
    std::string candidate = folder + "/" + name;
    if (access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  return "";
}

/// Starts a program. Its output goes to the descriptors; it ends with this process.
pid_t startProgram(const std::vector<std::string>& command, int standardOutput, int standardError) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot start " + command.front());
  }
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setenv("ETCDCTL_API", "3", 1);
    if (getppid() == parent && dup2(standardOutput, STDOUT_FILENO) >= 0 && dup2(standardError, STDERR_FILENO) >= 0) {
      execv(arguments.front(), arguments.data());
    }
    _exit(127);
  }
  return child;
}

/// Waits for the end of a process. \return whether it ended with exit code 0
bool waitFor(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct Pipe {
  Pipe() {
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
  }
  std::array<int, 2> ends{};
};

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t size = 0; (size = read(descriptor, buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
  close(descriptor);
  return text;
}

std::string urlOf(const std::string& scheme, int port) {
  return scheme + "://" + addressOfThisProcess() + ":" + std::to_string(port);
}

}  // namespace

std::string whyNoEtcd() {
  return findProgram("etcd").empty() || findProgram("etcdctl").empty() ? "etcd or etcdctl is not installed" : "";
}

int freePortHere() {
  const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  inet_pton(AF_INET, addressOfThisProcess().c_str(), &where.sin_addr);
  socklen_t size = sizeof(where);
  const bool isFound = bind(probe, reinterpret_cast<const sockaddr*>(&where), size) == 0 &&
                       getsockname(probe, reinterpret_cast<sockaddr*>(&where), &size) == 0;
  close(probe);
  if (!isFound) {
    throw std::runtime_error("cannot find a free port");
  }
  return ntohs(where.sin_port);
}

EtcdProcess::EtcdProcess(EtcdOptions options)
    : options_(std::move(options)), url_(urlOf(options_.scheme, options_.clientPort)) {
  start();
}

EtcdProcess::~EtcdProcess() {
  kill();
}

std::string EtcdProcess::peerUrl() const {
  return urlOf("http", options_.peerPort);
}

void EtcdProcess::start() {
  std::vector<std::string> command = {findProgram("etcd"),
                                      "--name",
                                      options_.name,
                                      "--data-dir",
                                      options_.folder + "/" + options_.name,
                                      "--listen-client-urls",
                                      url_,
                                      "--advertise-client-urls",
                                      url_,
                                      "--listen-peer-urls",
                                      peerUrl(),
                                      "--initial-advertise-peer-urls",
                                      peerUrl(),
                                      "--initial-cluster",
                                      options_.cluster.empty() ? options_.name + "=" + peerUrl() : options_.cluster,
                                      "--heartbeat-interval",
                                      "50",
                                      "--election-timeout",
                                      "500",
                                      "--logger",
                                      "zap",
                                      "--log-outputs",
                                      "stderr"};
  command.insert(command.end(), options_.arguments.begin(), options_.arguments.end());
  const Pipe output;
  pid_ = startProgram(command, output.ends[1], output.ends[1]);
  close(output.ends[1]);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    start_ = log_.size();
    hasEnded_ = false;
  }
  reader_ = std::thread([this, descriptor = output.ends[0]] { readLog(descriptor); });
}

bool EtcdProcess::waitUntilServing() {
  return waitForLog(servesClients);
}

void EtcdProcess::kill() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    waitFor(std::exchange(pid_, -1));
    reader_.join();
  }
}

void EtcdProcess::pause() {
  ::kill(pid_, SIGSTOP);
}

void EtcdProcess::resume() {
  ::kill(pid_, SIGCONT);
}

std::string EtcdProcess::control(const std::vector<std::string>& arguments) const {
  std::vector<std::string> command = {findProgram("etcdctl"), "--endpoints", url_};
  command.insert(command.end(), options_.controlArguments.begin(), options_.controlArguments.end());
  command.insert(command.end(), arguments.begin(), arguments.end());
  const Pipe output;
  const std::filesystem::path errorFile = options_.folder + "/control-errors-" + options_.name;
  const int errors = open(errorFile.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const pid_t process = startProgram(command, output.ends[1], errors);
  close(output.ends[1]);
  std::string text = readAll(output.ends[0]);
  const bool isGood = waitFor(process);
  lseek(errors, 0, SEEK_SET);
  const std::string error = readAll(errors);
  if (!isGood) {
    throw std::runtime_error("etcdctl " + arguments.front() + ": " + error);
  }
  return text;
}

std::string EtcdProcess::log() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return log_;
}

bool EtcdProcess::waitForLog(const std::string& text, std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto isWritten = [&] {
    auto position = start_;
    for (std::size_t found = 0; found < count; ++found, position += text.size()) {
      position = log_.find(text, position);
      if (position == std::string::npos) {
        return false;
      }
    }
    return true;
  };
  changed_.wait_for(lock, spf::test::patience, [&] { return hasEnded_ || isWritten(); });
  return isWritten();
}

void EtcdProcess::readLog(int descriptor) {
  std::array<char, 4096> buffer{};
  for (ssize_t size = 0; (size = read(descriptor, buffer.data(), buffer.size())) > 0;) {
    const std::lock_guard<std::mutex> lock(mutex_);
    log_.append(buffer.data(), static_cast<std::size_t>(size));
    changed_.notify_all();
  }
  close(descriptor);
  const std::lock_guard<std::mutex> lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

}  // namespace etcdtest
