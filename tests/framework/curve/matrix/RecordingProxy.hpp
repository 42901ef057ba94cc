#pragma once

#include <memory>
#include <string>

namespace spf::test {

/// Forwards connections to a server of this machine, and keeps every byte that goes over the wire. One thread does all
/// the work; any thread may call any member.
class RecordingProxy {
 public:
  /// Starts to listen on a free port of the loopback network.
  /// \param server  the address to forward to, `tcp://` and a numeric host of IPv4
  explicit RecordingProxy(const std::string& server);
  ~RecordingProxy();
  RecordingProxy(const RecordingProxy&) = delete;
  RecordingProxy& operator=(const RecordingProxy&) = delete;

  /// Returns where the proxy listens.
  std::string address() const;

  /// Blocks until some connection has ended.
  /// \return false if none has within `patience`
  [[nodiscard]] bool waitForEnd();

  /// Returns the bytes so far, those of both directions and of all connections one after the other.
  std::string recorded() const;

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace spf::test
