#pragma once

#include <functional>

namespace agent::spf::frameworkinterfaces {

/// A service with which a bundle shows that the thread that does its work is alive: a host's watchdog calls it at
/// intervals. Every bundle with such a thread registers one, with the property "component" that names the bundle's part
/// in messages, like "transport".
///
/// Any thread may call it, several at once.
class [[gnu::visibility("default")]] HealthCheck {
 public:
  /// The service property, a text.
  static constexpr auto component = "component";

  virtual ~HealthCheck() = default;

  /// Lets the bundle's thread call `done` once, after the work that it has accepted so far. Does not block.
  /// \param done  must neither block nor throw. Dropped without a call if the bundle stops first.
  /// \throws what queueing throws, such as std::bad_alloc
  virtual void check(std::function<void()> done) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
