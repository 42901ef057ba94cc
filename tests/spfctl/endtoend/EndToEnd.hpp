#pragma once

#include <gmock/gmock.h>

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/Process.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

/// A configuration file in the making.
class Configuration {
 public:
  using Texts = std::vector<std::string>;

  explicit Configuration(std::string id) : id_(std::move(id)) {}

  /// Adds a publisher that serves all interfaces.
  Configuration& publisher(const std::string& id, const Texts& bind, const Texts& connect = {},
                           const std::string& exportFilter = "");

  /// Adds an interface that all publishers serve.
  Configuration& interface(const std::string& id, const std::string& name);

  std::string text() const;

 private:
  std::string id_;
  nlohmann::json publishers_ = nlohmann::json::array();
  nlohmann::json interfaces_ = nlohmann::json::array();
};

/// A client of a control socket that sends what it likes.
class RawClient {
 public:
  explicit RawClient(const std::filesystem::path& socket);
  ~RawClient();
  RawClient(RawClient&& other) noexcept;
  RawClient& operator=(RawClient&&) = delete;

  bool isConnected() const { return isConnected_; }

  /// Blocks until the host has taken all of it. \return false if the host has closed the connection
  bool send(const std::string& text) const;

  /// Sends as much as the host takes without waiting. \return how much that is
  std::size_t sendWhatFits(const std::string& text) const;

  /// \return nothing if the connection has ended, or nothing comes for as long as the tests' patience lasts
  std::optional<std::string> readLine();

  /// Waits for the end of the connection. \return false if it does not come
  bool waitForEnd();

 private:
  bool readSome();

  int socket_;
  bool isConnected_;
  std::string received_;
};

/// A file whose lock, while it is held, blocks the listener of the test bundle "blocking" in hosts.
class Barrier {
 public:
  explicit Barrier(std::string file);
  ~Barrier();
  Barrier(const Barrier&) = delete;
  Barrier& operator=(const Barrier&) = delete;

  const std::string& file() const { return file_; }
  void raise();
  void lower();

 private:
  const std::string file_;
  int descriptor_;
};

/// Hosts and clients in processes of their own, in a control folder of the test's own, which has to be empty at the
/// end: every host has to have ended in order.
class EndToEnd : public testing::Test {
 protected:
  using Arguments = std::vector<std::string>;
  struct Result {
    int code;
    std::string out;
    std::string err;
  };

  void TearDown() override;

  std::filesystem::path control() const { return workspace_.path() / "control"; }
  std::filesystem::path socketOf(const std::string& host) const { return control() / (host + ".sock"); }
  std::filesystem::path lockOf(const std::string& host) const { return control() / (host + ".lock"); }

  /// Returns the names of the files in the control folder.
  std::vector<std::string> leftOver() const;

  std::string write(const std::string& name, const Configuration& configuration) const {
    return workspace_.write(name, configuration.text());
  }

  /// Returns the command line of a host, whose temporary folder is the workspace.
  Arguments host(const std::string& file, const Arguments& more = {}) const;

  /// Returns the command line of a client.
  Arguments client(const Arguments& arguments) const;

  static Result resultOf(Process& process);
  Result call(const Arguments& arguments) const;
  int codeOf(const Arguments& arguments) const { return call(arguments).code; }

  /// Asks a host for its status. \return null if it does not answer
  nlohmann::json status(const std::string& host) const;

  /// Asks a host for its status until a condition holds.
  bool waitForStatus(const std::string& host, const std::function<bool(const nlohmann::json&)>& condition) const;
  bool waitForState(const std::string& host, const std::string& state) const;
  bool waitForRevision(const std::string& host, unsigned revision) const;

  /// Waits until a host's endpoint is in a phase. Of several records of an endpoint one is enough.
  bool waitForPhase(const std::string& host, const std::string& endpoint, const std::string& phase) const;

  /// Ends a host and checks that it has withdrawn.
  static void end(Process& host);

  /// Kills a process at once and waits for its end.
  static void killNow(Process& process);

  /// Makes an installation root with the framework's bundles, to which a test may add some. \return its name
  std::string makeTree() const;
  std::string addBundle(const std::string& bundle) const;

  /// Returns the command line with variables in its environment, each as "NAME=value".
  static Arguments withEnvironment(const Arguments& variables, const Arguments& command);

  Workspace workspace_;
};

/// Asks until a condition holds, or the tests' patience is at its end. The condition waits for an answer of another
/// process each time it is asked.
bool askUntil(const std::function<bool()>& condition);

/// Returns what is in a file; an empty text if it cannot be read.
std::string contentOf(const std::filesystem::path& file);

/// Returns the endpoints' records of a status, of all publishers.
std::vector<nlohmann::json> endpointsOf(const nlohmann::json& status);

/// Returns the first record of an endpoint; null if there is none.
nlohmann::json recordOf(const nlohmann::json& status, const std::string& endpoint);

}  // namespace spf::test
