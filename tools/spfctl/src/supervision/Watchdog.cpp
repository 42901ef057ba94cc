#include "supervision/Watchdog.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <cppmicroservices/Any.h>

namespace spfctl {

/// Notes changes until the watchdog is destroyed. Any thread may call it.
class Watchdog::Wake {
 public:
  explicit Wake(Changes& changes) : changes_(&changes) {}

  void note() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (changes_ != nullptr) {
      // Under the lock, so that `detach` waits for it.
      changes_->note();
    }
  }

  void detach() {
    const std::lock_guard<std::mutex> lock(mutex_);
    changes_ = nullptr;
  }

 private:
  std::mutex mutex_;

  // Guarded by `mutex_`:
  Changes* changes_;
};

/// What became of one question. Any thread may call it.
class Watchdog::Answer {
 public:
  /// Returns whether it was the first.
  bool give() { return settle(State::given); }
  bool drop() { return settle(State::dropped); }

  /// Makes whatever was or will be given worthless.
  void refuse() { state_ = State::dropped; }

  bool isGiven() const { return state_ == State::given; }
  bool isDropped() const { return state_ == State::dropped; }

 private:
  // awaited -> given or dropped; given -> dropped only by `refuse`
  enum class State { awaited, given, dropped };

  bool settle(State state) {
    auto expected = State::awaited;
    return state_.compare_exchange_strong(expected, state);
  }

  std::atomic<State> state_{State::awaited};
};

/// What the copies of a callable share: the question is dropped when the last one is destroyed.
class Watchdog::Question {
 public:
  Question(std::shared_ptr<Answer> answer, std::shared_ptr<Wake> wake)
      : answer_(std::move(answer)), wake_(std::move(wake)) {}
  ~Question() {
    if (answer_->drop()) {
      wake_->note();
    }
  }
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;

  void answer() {
    if (answer_->give()) {
      wake_->note();
    }
  }

 private:
  const std::shared_ptr<Answer> answer_;
  const std::shared_ptr<Wake> wake_;
};

// A bundle that stops may drop the question before its service is unregistered, or after that.
bool Watchdog::Check::isSettled() const {
  return answer->isGiven() || (answer->isDropped() && !service);
}

Watchdog::Watchdog(cppmicroservices::BundleContext context, std::chrono::microseconds interval,
                   std::function<void()> confirm, Changes& changes)
    : context_(std::move(context)),
      period_(interval / 2),
      confirm_(std::move(confirm)),
      wake_(std::make_shared<Wake>(changes)) {}

Watchdog::~Watchdog() {
  wake_->detach();
}

void Watchdog::update(Clock::time_point now) {
  if (now >= nextRound_) {
    nextRound_ = now + period_;
    if (isAsking_ && !areAllSettled()) {
      repeatRound();
    } else if (!isAsking_) {
      beginRound();
    }
  }
  if (isAsking_ && areAllSettled()) {
    isAsking_ = false;
    checks_.clear();
    confirm_();
  }
}

void Watchdog::beginRound() {
  checks_.clear();
  isAsking_ = true;
  try {
    for (const auto& service : context_.GetServiceReferences<HealthCheck>()) {
      checks_.push_back({service, std::make_shared<Answer>()});
    }
  } catch (const std::runtime_error&) {
    return;  // the host stops: no service is left
  }
  for (auto& check : checks_) {
    ask(check);
  }
}

// A question that is still awaited is not asked again, so that questions do not pile up.
void Watchdog::repeatRound() {
  for (auto& check : checks_) {
    check.isLate = !check.isSettled();
    if (check.isLate && check.answer->isDropped()) {
      ask(check);
    }
  }
}

void Watchdog::ask(Check& check) {
  check.answer = std::make_shared<Answer>();
  try {
    if (const auto service = context_.GetService(check.service)) {
      const auto question = std::make_shared<Question>(check.answer, wake_);
      service->check([question] { question->answer(); });
      return;
    }
  } catch (...) {
    // As without a service: no answer.
  }
  check.answer->refuse();
}

bool Watchdog::areAllSettled() const {
  return std::all_of(checks_.begin(), checks_.end(), [](const Check& check) { return check.isSettled(); });
}

std::vector<std::string> Watchdog::unanswered() const {
  std::vector<std::string> components;
  for (const auto& check : checks_) {
    if (check.isLate && !check.isSettled()) {
      const auto name = check.service.GetProperty(HealthCheck::component);
      const auto* const text = cppmicroservices::any_cast<std::string>(&name);
      components.push_back(text == nullptr ? "a bundle without a name" : *text);
    }
  }
  return components;
}

}  // namespace spfctl
