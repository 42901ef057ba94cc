#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace spf::zeromq {

/// The outcome of a name look-up.
struct ResolvedHost {
  std::vector<std::string> addresses;  ///< numeric, those of IPv4 first; empty when the look-up failed
  std::string failure;                 ///< the reason then
};

/// Looks host names up on a few threads of its own, since that may take the better part of a minute.
///
/// One thread uses it. A look-up cannot be interrupted: its thread may outlive the resolver, and ends
/// with it. The library stays loaded from the first look-up on for that reason.
class Resolver {
 public:
  /// Called from one of the threads; must not call the resolver. One that throws is called again, with a
  /// failure.
  using Handler = std::function<void(const ResolvedHost&)>;

  Resolver();

  /// Waits for handlers that are at work, not for look-ups. No handler is called afterwards.
  ~Resolver();

  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  /// Requests for one name that are made at a time share one look-up.
  /// \throws std::system_error when the system has no thread left, or std::bad_alloc; then nothing is
  /// looked up, and the handler is not called
  void lookUp(const std::string& host, Handler handler);

 private:
  struct Requests;

  const std::shared_ptr<Requests> requests_;
};

}  // namespace spf::zeromq
