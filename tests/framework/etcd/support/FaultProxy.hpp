#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace etcdtest {

/// Forwards connections to a server as badly as it is told to. One thread does all the work; any thread may call any
/// member.
class FaultProxy {
 public:
  enum class Behaviour {
    forward,  ///< everything at once, unchanged
    delay,    ///< everything, each part 200 ms later
    pieces,   ///< everything, a byte at a time
    stall,    ///< nothing, but connections stay open
    cut,      ///< nothing; connections are reset as soon as they are accepted
    answer    ///< nothing; each request gets the fixed answer, then the connection is closed
  };

  /// Starts to listen on a port of this process's address.
  /// \param port  the server's, on the same address
  explicit FaultProxy(int port);
  ~FaultProxy();
  FaultProxy(const FaultProxy&) = delete;
  FaultProxy& operator=(const FaultProxy&) = delete;

  /// Returns where the proxy listens, as an HTTP URL.
  std::string url() const;

  /// Changes the behaviour, also of open connections. `cut` closes them; so does `answer`.
  void set(Behaviour behaviour);

  /// Sets the fixed answer, with its HTTP head, and the behaviour `answer`.
  void answerWith(std::string text);

  /// Closes open connections by a reset; the behaviour stays.
  void cutConnections();

  /// Blocks until so many connections have been accepted in all.
  /// \return false if they were not within `patience`
  [[nodiscard]] bool waitForConnections(std::size_t count);

  std::size_t connections() const;

  /// Keeps what passes from now on, in both directions.
  void record();

  /// Returns what was kept.
  std::string recorded() const;

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace etcdtest
