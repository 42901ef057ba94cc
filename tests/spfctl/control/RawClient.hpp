#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace spf::test {

/// A client of a control socket that sends bytes as they are given.
class RawClient {
 public:
  /// Connects. \throws std::runtime_error if it cannot
  explicit RawClient(const std::filesystem::path& socket);
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// Returns whether everything was sent.
  bool send(const std::string& bytes) const;

  /// Sends a request without members.
  bool request(const std::string& name) const;

  /// Returns the next line; nothing if the connection ends before, or none comes for as long as the tests' patience
  /// lasts.
  std::optional<std::string> readLine();

  /// Closes the sending side; reading is still possible.
  void endSending() const;

  /// Returns whether the host closes the connection, after all that it sends.
  bool isClosedByHost();

  int descriptor() const { return socket_; }

 private:
  // Returns false at the end.
  bool readSome();

  const int socket_;
  bool isAtEnd_ = false;
  std::string received_;
};

}  // namespace spf::test
