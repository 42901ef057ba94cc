#pragma once

#include <functional>

namespace spf::test {

/// How often the calling thread has called `std::condition_variable::notify_all` so far. The test
/// executable defines that function itself, counts, and passes the call on.
int notificationsFromThisThread();

/// While it lives, an action runs before each of these calls of its thread is passed on.
class NotificationHook {
 public:
  explicit NotificationHook(std::function<void()> action);
  ~NotificationHook();
  NotificationHook(const NotificationHook&) = delete;
  NotificationHook& operator=(const NotificationHook&) = delete;

  void notifying() const { action_(); }

 private:
  const std::function<void()> action_;
};

}  // namespace spf::test
