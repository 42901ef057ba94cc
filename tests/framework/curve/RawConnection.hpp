#pragma once

#include <string>

namespace spf::test {

/// One connection of TCP, on which a test sends and receives bytes as it likes. Used by one thread.
class RawConnection {
 public:
  /// Takes over a descriptor.
  explicit RawConnection(int descriptor);

  /// Connects to an endpoint.
  /// \param address  `tcp://` with a numeric host of IPv4
  static RawConnection to(const std::string& address);

  RawConnection(RawConnection&& other) noexcept;
  RawConnection& operator=(RawConnection&&) = delete;
  ~RawConnection();

  void send(const std::string& bytes) const;

  /// Returns what has arrived, once something has.
  std::string receiveOnce() const;

  /// Reads until a text has arrived.
  bool hasReceived(const std::string& text);

  /// Reads until the other side closes the connection.
  bool isDisconnected();

  /// Returns what was read so far.
  const std::string& received() const { return received_; }

  void close();

 private:
  int descriptor_;
  std::string received_;
};

/// Listens at a port of TCP.
class RawServer {
 public:
  RawServer();
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  const std::string& address() const { return address_; }

  /// Waits for a connection.
  RawConnection accept() const;

 private:
  int descriptor_;
  std::string address_;
};

/// Returns the beginning of a connection of ZMTP 3.
/// \param minor      the version after the point
/// \param mechanism  for example "NULL"
std::string zmtp3Greeting(int minor, const std::string& mechanism);

/// Returns the command READY of the mechanism NULL.
/// \param properties  pairs as on the wire
std::string readyCommand(const std::string& properties);

/// Returns a property of a command.
std::string property(const std::string& name, const std::string& value);

/// Returns a frame.
std::string frame(const std::string& content, bool more);

}  // namespace spf::test
