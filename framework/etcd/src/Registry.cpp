#include "agent/spf/etcd/Registry.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "Attempts.hpp"
#include "Copy.hpp"
#include "Gateway.hpp"
#include "HttpLoop.hpp"
#include "Lease.hpp"
#include "Members.hpp"
#include "OwnKeys.hpp"
#include "Watch.hpp"
#include "agent/spf/frameworksupport/startThread.hpp"
#include "validate.hpp"

namespace agent::spf::etcd {

namespace {

using TimePoint = std::chrono::steady_clock::time_point;

constexpr std::chrono::milliseconds firstWait(100);
constexpr std::chrono::milliseconds waitAfterException(100);
constexpr std::chrono::milliseconds longestRevocation(1000);
constexpr std::size_t longestEntry = std::size_t{512} * 1024;  // of key and value; a third of what etcd takes
constexpr std::size_t longestQuote = 100;

const Settings& validated(const Settings& settings) {
  validate(settings);
  return settings;
}

}  // namespace

/// The thread and what it uses: it feeds the state machines with orders, time and answers, and publishes the results.
class Registry::Impl {
 public:
  Impl(Settings settings, Callbacks callbacks)
      : settings_(std::move(settings)), callbacks_(std::move(callbacks)), loop_(validated(settings_)) {
    thread_ = frameworksupport::startThread([this] { run(); });
  }

  ~Impl() {
    isStopping_ = true;
    loop_.wakeUp();
    thread_.join();
  }

  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void order(Write write) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      orders_.push_back(std::move(write));
    }
    loop_.wakeUp();
  }

  std::shared_ptr<const Entries> entries() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return entries_;
  }

  bool isListed() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return isListed_;
  }

  std::string trouble() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return trouble_;
  }

  Traffic traffic() const { return loop_.traffic(); }

 private:
  void run() noexcept {
    while (!isStopping_) {
      try {
        turn();
      } catch (...) {
        recover();
      }
    }
    try {
      revokeLease();
    } catch (...) {
      // The keys stay until the lease lapses.
    }
  }

  void turn() {
    applyOrders();
    const auto now = TimePoint::clock::now();
    lease_.tick(now);
    keys_.tick(now);
    watch_.tick(now);
    const bool wasWatching = watch_.isWatching();
    const bool wasWriting = ownTrouble().empty();
    publish();
    loop_.turn(std::min({lease_.wakeAt(), keys_.wakeAt(), watch_.wakeAt(), warnAt_, announceAt_}));
    // One that got through shows that others need not wait.
    if (!wasWatching && watch_.isWatching()) {
      lease_.retry();
      keys_.retry();
    }
    if (!wasWriting && ownTrouble().empty()) {
      watch_.retry();
    }
    isRecovering_ = isRecovering_ && !watch_.isWatching();
  }

  // Gives up what is under way, since it may be half done, and begins again as after an outage.
  void recover() noexcept {
    isRecovering_ = true;
    const auto later = TimePoint::clock::now() + waitAfterException;
    lease_.restart(later);
    keys_.restart(later);
    watch_.restart(later);
    std::this_thread::sleep_until(later);
  }

  void applyOrders() {
    if (current_.empty()) {
      const std::lock_guard<std::mutex> lock(mutex_);
      current_.swap(orders_);
    }
    while (!current_.empty()) {
      apply(current_.front());
      current_.pop_front();
    }
  }

  void apply(const Write& order) {
    if (order.value) {
      keys_.put(order.key, *order.value);
    } else if (keys_.remove(order.key)) {
      copy_.erase(order.key);
    }
  }

  const std::string& ownTrouble() const { return lease_.trouble().empty() ? keys_.trouble() : lease_.trouble(); }

  // Why something fails; empty while nothing does.
  std::string currentFailure() const {
    if (!watch_.trouble().empty()) {
      return watch_.trouble();
    }
    return ownTrouble().empty() && isRecovering_ ? "out of memory" : ownTrouble();
  }

  std::string noAnswer() const { return gateway_.describe(members_.current(), "no answer yet"); }

  void publish() {
    const auto failure = currentFailure();
    hasWatched_ = hasWatched_ || watch_.isWatching();
    const bool isChanged = show(failure.empty() && !hasWatched_ ? noAnswer() : failure);
    warn(failure);
    if (isChanged || TimePoint::clock::now() >= announceAt_) {
      announce();
    }
  }

  // A callback that throws has not taken the change, and the next one may be hours away.
  void announce() {
    announceAt_ = call(callbacks_.changed) ? TimePoint::max() : TimePoint::clock::now() + waitAfterException;
  }

  // Returns whether anything has changed.
  bool show(const std::string& trouble) {
    auto entries = copy_.isChanged() ? std::make_shared<const Entries>(copy_.entries()) : nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool isChanged = entries || trouble != trouble_ || watch_.isListed() != isListed_;
    trouble_ = trouble;
    isListed_ = watch_.isListed();
    if (entries) {
      entries_.swap(entries);
      copy_.acknowledge();
    }
    return isChanged;
  }

  // One member after the other may fail and heal in one outage, so it is over only after a time without any failure. A
  // failure that begins before that is worth a warning of its own if it lasts.
  void warn(const std::string& failure) {
    const auto now = TimePoint::clock::now();
    if (failure.empty() == isFailing_) {
      isFailing_ = !failure.empty();
      const auto warnAt = now >= outageEndsAt_ ? now : now + settings_.ttl;
      warnAt_ = isFailing_ ? warnAt : TimePoint::max();
      outageEndsAt_ = now + settings_.ttl;
    }
    if (now >= warnAt_) {
      warnAt_ = TimePoint::max();
      call(callbacks_.warning, failure);
    }
  }

  // Returns whether the callback has not thrown.
  template <class Callback, class... Arguments>
  static bool call(const Callback& callback, const Arguments&... arguments) noexcept {
    try {
      if (callback) {
        callback(arguments...);
      }
      return true;
    } catch (...) {
      return false;  // no caller could receive the exception
    }
  }

  // Gives the lease back. Each member gets its share of the time.
  void revokeLease() {
    const auto lease = lease_.id();
    lease_.restart(TimePoint::max());
    keys_.restart(TimePoint::max());
    watch_.restart(TimePoint::max());
    const auto end = TimePoint::clock::now() + longestRevocation;
    bool isRevoked = lease == 0;
    for (auto left = static_cast<int>(members_.count()); left > 0 && !isRevoked; --left) {
      const auto now = TimePoint::clock::now();
      isRevoked = revoke(lease, now + (end - now) / left);
    }
  }

  // Returns whether the member has answered.
  bool revoke(LeaseId lease, TimePoint until) {
    std::optional<bool> answered;
    const auto member = members_.current();
    GatewayQuestion question;
    question.path = "/v3/lease/revoke";
    question.body = encodeLease(lease);
    question.timeout = std::chrono::ceil<std::chrono::milliseconds>(until - TimePoint::clock::now());
    question.onAnswer = [&](const GatewayAnswer& answer) { answered = answer.problem.empty(); };
    const auto call = gateway_.ask(member, std::move(question));
    while (!answered && TimePoint::clock::now() < until) {
      loop_.turn(until);
    }
    const bool isRevoked = answered.value_or(false);
    if (!isRevoked) {
      members_.reportFailure(member);  // also if the time was over before its own limit was noticed
    }
    return isRevoked;
  }

  Attempts attempts() { return Attempts(members_, Backoff(firstWait, third_, random_())); }

  // Constant after construction:
  const Settings settings_;
  const Callbacks callbacks_;
  const std::chrono::milliseconds third_ = std::chrono::milliseconds(settings_.ttl) / 3;

  // Synchronised by themselves:
  HttpLoop loop_;
  std::atomic<bool> isStopping_{false};

  // Used by the thread:
  std::random_device random_;
  Members members_{settings_.members, random_()};
  Gateway gateway_{loop_, members_, settings_};
  Lease lease_{gateway_, attempts(), settings_.ttl};
  OwnKeys keys_{gateway_, lease_, attempts(), settings_.prefix, third_};
  Copy copy_;
  Watch watch_{gateway_, attempts(), copy_, keys_, settings_};
  std::deque<Write> current_;  // orders that are being applied
  bool hasWatched_ = false;
  bool isRecovering_ = false;
  bool isFailing_ = false;
  TimePoint announceAt_ = TimePoint::max();    // again, after a callback has thrown
  TimePoint outageEndsAt_ = TimePoint::min();  // if nothing fails until then
  TimePoint warnAt_ = TimePoint::max();        // if the failure lasts until then

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::deque<Write> orders_;
  std::shared_ptr<const Entries> entries_ = std::make_shared<const Entries>();
  bool isListed_ = false;
  std::string trouble_ = noAnswer();

  // Used by the owner:
  std::thread thread_;
};

Registry::Registry(Settings settings, Callbacks callbacks)
    : impl_(std::make_unique<Impl>(std::move(settings), std::move(callbacks))) {}

Registry::~Registry() = default;

void Registry::put(std::string key, std::string value) {
  if (key.size() + value.size() > longestEntry) {
    throw std::invalid_argument("the value of key '" + key.substr(0, longestQuote) +
                                "' is too long; expected at most " + std::to_string(longestEntry) + " bytes");
  }
  impl_->order({std::move(key), std::move(value)});
}

void Registry::remove(const std::string& key) {
  impl_->order({key, std::nullopt});
}

std::shared_ptr<const Registry::Entries> Registry::entries() const {
  return impl_->entries();
}

bool Registry::isListed() const {
  return impl_->isListed();
}

std::string Registry::trouble() const {
  return impl_->trouble();
}

Traffic Registry::traffic() const {
  return impl_->traffic();
}

}  // namespace agent::spf::etcd
