#include "Withdrawals.hpp"

#include <algorithm>

namespace spf::controller {

namespace {

/// How long to wait for a publisher, whose sockets have to be closed.
constexpr std::chrono::seconds timeToClose{5};

/// How long to wait for a publisher without any report so far: it may never have received its configuration.
constexpr std::chrono::milliseconds timeToBegin{500};

}  // namespace

void Withdrawals::noteReport(const std::string& publisherID) {
  const std::lock_guard<std::mutex> lock(mutex_);
  reporting_.insert(publisherID);
}

void Withdrawals::noteUnpublished(const std::string& publisherID) {
  const std::lock_guard<std::mutex> lock(mutex_);
  reporting_.erase(publisherID);
  remove(publisherID);
}

void Withdrawals::expect(const std::string& publisherID) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  forgetOverdue(now);
  deadlines_.emplace(publisherID, now + (reporting_.count(publisherID) > 0 ? timeToClose : timeToBegin));
}

void Withdrawals::cancel(const std::string& publisherID) {
  const std::lock_guard<std::mutex> lock(mutex_);
  remove(publisherID);
}

void Withdrawals::await() {
  std::unique_lock<std::mutex> lock(mutex_);
  forgetOverdue(std::chrono::steady_clock::now());
  while (!deadlines_.empty()) {
    const auto next = std::min_element(deadlines_.begin(), deadlines_.end(),
                                       [](const auto& left, const auto& right) { return left.second < right.second; });
    changed_.wait_until(lock, TimePoint(next->second));
    forgetOverdue(std::chrono::steady_clock::now());
  }
}

void Withdrawals::remove(const std::string& publisherID) {
  const auto expected = deadlines_.find(publisherID);
  if (expected != deadlines_.end()) {
    deadlines_.erase(expected);
    changed_.notify_all();
  }
}

void Withdrawals::forgetOverdue(TimePoint now) {
  for (auto expected = deadlines_.begin(); expected != deadlines_.end();) {
    if (expected->second <= now) {
      reporting_.erase(expected->first);
      expected = deadlines_.erase(expected);
    } else {
      ++expected;
    }
  }
}

}  // namespace spf::controller
