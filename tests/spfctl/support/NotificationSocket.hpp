#pragma once

#include <string>
#include <vector>

namespace spf::test {

/// The socket of a service manager, from which a test reads what was sent.
class NotificationSocket {
 public:
  /// \param name  a path, or '@' and the name of an abstract socket
  explicit NotificationSocket(const std::string& name);
  ~NotificationSocket();
  NotificationSocket(const NotificationSocket&) = delete;
  NotificationSocket& operator=(const NotificationSocket&) = delete;

  /// Returns the messages that have arrived since the last call.
  std::vector<std::string> received();

  int descriptor() const { return socket_; }

 private:
  int socket_;
  std::string path_;  // empty for an abstract socket
};

/// Sets an environment variable for the lifetime of this object; removes it without a value.
class EnvironmentVariable {
 public:
  explicit EnvironmentVariable(const char* name);
  EnvironmentVariable(const char* name, const std::string& value);
  ~EnvironmentVariable();
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  const char* name_;
  bool wasSet_;
  std::string previous_;
};

}  // namespace spf::test
