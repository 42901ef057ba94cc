#pragma once

#include <cstddef>
#include <set>

namespace spf::zeromq {

/// Finds the handshakes that failed without a report, from ZeroMQ's reports about one socket.
///
/// ZeroMQ reports which connection was accepted and which one has ended, but not whose handshake has succeeded or
/// failed, and it does not report at all that a peer speaks another protocol. So a connection that ends while no report
/// can have been about it has failed silently. As long as several connections may be meant, failures are not counted
/// before they are certain: never too many, and too few only until the connections in doubt have ended.
class HandshakeLedger {
 public:
  using Connection = int;

  void accepted(Connection connection) { undecided_.insert(connection); }

  /// Records the report that some handshake has succeeded or failed.
  void reported();

  /// \return whether a handshake has failed silently that was not counted before
  [[nodiscard]] bool ended(Connection connection);

 private:
  void forgetIfExplained();

  /// Connections that no report was about.
  std::set<Connection> undecided_;

  /// Connections that some reports may have been about, and how many of them.
  std::set<Connection> doubtful_;
  std::size_t reports_ = 0;
};

}  // namespace spf::zeromq
