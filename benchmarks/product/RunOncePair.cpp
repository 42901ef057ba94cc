#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Pair.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
namespace fs = std::filesystem;

namespace {

constexpr auto configuration = R"({
  "configurationID": "weather",
  "serviceInterfaces": [ { "uniqueID": "measured", "name": "weather.Temperature", "toAllServicePublishers": true } ],
  "servicePublishers": [
    { "uniqueID": "station", "name": "rpcservicepublisher", "endpointsToBindTo": [ "tcp://127.0.0.1:*" ] } ]
})";

/// A folder for the files of a run, deleted with this object.
class Folder {
 public:
  Folder() {
    std::string name = fs::temp_directory_path() / "spf-benchmark-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const fs::path& path() const noexcept { return path_; }

 private:
  fs::path path_;
};

using Words = std::vector<std::string>;

std::vector<char*> pointersTo(Words& words) {
  std::vector<char*> pointers;
  for (auto& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// Runs a program without output to its end.
void runToEnd(Words command, Words environment = {}) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    environment.emplace_back(*variable);
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  const int error = posix_spawn(&process, command.front().c_str(), &actions, nullptr, pointersTo(command).data(),
                                pointersTo(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (error != 0 || waitpid(process, &status, 0) != process || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error(command.front() + " failed");
  }
}

// Publishes one publisher on the loopback network, and leaves when it is ready.
Words runOnceCommand(const Folder& folder) {
  const auto file = folder.path() / "weather.json";
  std::ofstream(file) << configuration;
  return {SPF_SPFCTL, "run", file, "--once", "--control-dir", folder.path()};
}

// The libraries that a program loads, in the order of their initialisation, so each one after those that it needs.
Words librariesOf(Words command) {
  const Folder folder;
  runToEnd(std::move(command), {"LD_DEBUG=files", "LD_DEBUG_OUTPUT=" + (folder.path() / "loader").string()});
  const std::string announcement = "calling init: ";
  Words libraries;
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    std::ifstream file(entry.path());
    std::string line;
    while (entry.path().stem() == "loader" && std::getline(file, line)) {
      const auto found = line.find(announcement);
      if (found != std::string::npos) {
        libraries.push_back(line.substr(found + announcement.size()));
      }
    }
  }
  if (libraries.empty()) {
    throw std::runtime_error("the loader reports no libraries");
  }
  return libraries;
}

Side runningSide(Words command, std::shared_ptr<Folder> folder = nullptr) {
  const auto ended = std::make_shared<int>(0);
  return {[](int) {},
          [ended, command = std::move(command), folder = std::move(folder)](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              runToEnd(command);
              ++*ended;
            }
          },
          [ended] { return Any(*ended); }};
}

Side work(int /*size*/) {
  auto folder = std::make_shared<Folder>();
  auto command = runOnceCommand(*folder);
  return runningSide(std::move(command), std::move(folder));
}

// The library alone, without what `spfctl` does around it.
Side leastWork(int /*size*/) {
  return runningSide({SPF_ONCE_BY_HAND});
}

// Loads the same libraries as another program, and opens one socket.
Side floorOf(Words command) {
  auto libraries = librariesOf(std::move(command));
  libraries.insert(libraries.begin(), SPF_ONE_SOCKET);
  return runningSide(std::move(libraries));
}

Side floor(int /*size*/) {
  const Folder folder;
  return floorOf(runOnceCommand(folder));
}

Side leastFloor(int /*size*/) {
  return floorOf({SPF_ONCE_BY_HAND});
}

// Opens one socket, with the libraries that this takes.
Side emptyFloor(int /*size*/) {
  return runningSide({SPF_ONE_SOCKET});
}

int rounds(int /*size*/) {
  return 8;
}

}  // namespace

Pair runOnce() {
  return {"run-once", {1}, &rounds, &work, &floor, Counting::processes};
}

Pair runOnceAtLeast() {
  return {"run-once-at-least", {1}, &rounds, &leastWork, &leastFloor, Counting::processes};
}

Pair runOnceEmpty() {
  return {"run-once-empty", {1}, &rounds, &work, &emptyFloor, Counting::processes};
}

}  // namespace spf::benchmarks
