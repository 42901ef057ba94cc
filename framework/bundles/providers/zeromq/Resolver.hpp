#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace spf::zeromq {

/// The outcome of a name look-up.
struct ResolvedHost {
  std::vector<std::string> addresses;  ///< numeric, those of IPv4 first; empty if the look-up failed
  std::string failure;                 ///< the reason of a failure
};

/// Looks up host names on a few threads of its own, since a look-up may take most of a minute.
///
/// Used by one thread. A look-up cannot be interrupted: its thread may outlive the resolver, and ends after the
/// look-up. The library stays loaded from the first look-up on for that reason.
class Resolver {
 public:
  /// Handles an outcome on one of the resolver's threads. Must not call the resolver. If it throws, it is called again,
  /// with a failure.
  using Handler = std::function<void(const ResolvedHost&)>;

  Resolver();

  /// Waits for running handlers, not for look-ups. No handler is called afterwards.
  ~Resolver();

  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  /// Starts to look up a host. Simultaneous requests for the same host share one look-up.
  /// \throws std::system_error if the system has no thread left
  /// \throws std::bad_alloc; after an exception the handler is not called
  void lookUp(const std::string& host, Handler handler);

 private:
  class Requests;

  const std::shared_ptr<Requests> requests_;
};

}  // namespace spf::zeromq
