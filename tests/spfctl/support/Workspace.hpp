#pragma once

#include <filesystem>
#include <string>

namespace spf::test {

/// A folder of a test's own, which is deleted at the end. Only its owner may write in it.
class Workspace {
 public:
  Workspace();
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  const std::filesystem::path& path() const { return path_; }

  /// Writes a file, with the folders above it. \return its full name
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

/// A TCP socket that listens on a port of 127.0.0.1 that was free.
class ListeningSocket {
 public:
  ListeningSocket();
  ~ListeningSocket();
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  std::string endpoint() const { return "tcp://127.0.0.1:" + std::to_string(port_); }

 private:
  int socket_;
  int port_;
};

/// An endpoint that nobody listens on.
std::string freeEndpoint();

/// Whether somebody listens on an endpoint.
bool isOpen(const std::string& endpoint);

}  // namespace spf::test
