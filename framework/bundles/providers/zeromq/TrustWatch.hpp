#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "agent/spf/security/TrustFolder.hpp"

namespace spf::zeromq {

/// Reads the folder of trusted keys again every second and on request, on a thread of its own, since a file system may
/// take any time.
///
/// Any thread may call `request`. The thread may outlive the watch, if the file system does not answer; the library
/// stays loaded then.
class TrustWatch {
 public:
  /// Handles the outcome of a refresh, on the watch's thread: after each one that was requested, and after the others
  /// if the keys are new. Must not call the watch. If it throws, it is called again after the next refresh.
  /// \param request  the latest one that was made before the refresh began
  using Handler =
      std::function<void(std::uint64_t request, const std::shared_ptr<const agent::spf::security::TrustedKeys>& keys)>;

  /// Starts the thread.
  /// \throws std::system_error if the system has no thread left
  TrustWatch(std::shared_ptr<agent::spf::security::TrustFolder> folder, Handler handler);

  /// Waits for a running handler, and for a refresh for one second at most. The handler is not called afterwards.
  ~TrustWatch();

  TrustWatch(const TrustWatch&) = delete;
  TrustWatch& operator=(const TrustWatch&) = delete;

  /// Requests a refresh that begins after this call.
  /// \return the number of the request: one more than that of the one before
  std::uint64_t request();

 private:
  class Refreshes;

  const std::shared_ptr<Refreshes> refreshes_;
  std::thread thread_;
};

}  // namespace spf::zeromq
