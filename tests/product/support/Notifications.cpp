#include "Notifications.hpp"

#include <dlfcn.h>

#include <condition_variable>
#include <utility>

namespace {

thread_local int notifications = 0;
thread_local spf::test::NotificationHook* hook = nullptr;

using NotifyAll = void (*)(std::condition_variable*);

NotifyAll original() {
  static const auto function = reinterpret_cast<NotifyAll>(dlsym(RTLD_NEXT, "_ZNSt18condition_variable10notify_allEv"));
  return function;
}

}  // namespace

// Comes before the standard library's own when the program is linked.
__attribute__((visibility("default"))) void std::condition_variable::notify_all() noexcept {
  ++notifications;
  if (hook != nullptr) {
    hook->notifying();
  }
  original()(this);
}

namespace spf::test {

int notificationsFromThisThread() {
  return notifications;
}

NotificationHook::NotificationHook(std::function<void()> action) : action_(std::move(action)) {
  hook = this;
}

NotificationHook::~NotificationHook() {
  hook = nullptr;
}

}  // namespace spf::test
