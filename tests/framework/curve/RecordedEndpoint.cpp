#include "RecordedEndpoint.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include <gtest/gtest.h>
#include "spf/test/Gate.hpp"

namespace spf::test {

int Reports::count(const std::string& change) const {
  return static_cast<int>(std::count(changes.begin(), changes.end(), change));
}

Reports RecordedEndpoint::waitFor(const Condition& condition) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() + patience;
  if (!changed_.wait_until(lock, deadline, [&] { return condition(reports_); })) {
    std::string changes;
    for (const auto& change : reports_.changes) {
      changes += " [" + change + "]";
    }
    ADD_FAILURE() << "the awaited reports do not come; changes:" << changes << ", reason: " << reports_.reason
                  << ", refused: " << reports_.refused << " " << reports_.lastRefusal;
  }
  return reports_;
}

Reports RecordedEndpoint::waitForChange(const std::string& change, int times) {
  return waitFor([&](const Reports& reports) { return reports.count(change) >= times; });
}

Reports RecordedEndpoint::waitForReason(const std::string& reason) {
  return waitFor([&](const Reports& reports) { return reports.reason == reason; });
}

Reports RecordedEndpoint::waitForRefusal(const std::string& reason, std::uint32_t count) {
  return waitFor([&](const Reports& reports) { return reports.refused >= count && reports.lastRefusal == reason; });
}

Reports RecordedEndpoint::reports() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return reports_;
}

void RecordedEndpoint::onLoss(std::function<void()> act) {
  const std::lock_guard<std::mutex> lock(mutex_);
  onLoss_ = std::move(act);
}

void RecordedEndpoint::record(const std::function<void(Reports&)>& change) {
  const std::lock_guard<std::mutex> lock(mutex_);
  change(reports_);
  changed_.notify_all();
}

void RecordedEndpoint::trying(const agent::spf::frameworkinterfaces::EndpointTries& tries) {
  record([&](Reports& reports) {
    reports.reason = tries.reason;
    reports.tries = tries.count;
  });
}

void RecordedEndpoint::opened(const std::string& address) {
  record([&](Reports& reports) {
    reports.changes.emplace_back("opened");
    reports.address = address;
    reports.reason.clear();
  });
}

void RecordedEndpoint::lost(const std::string& reason) {
  std::function<void()> act;
  record([&](Reports& reports) {
    reports.changes.push_back("lost: " + reason);
    act = onLoss_;
  });
  if (act) {
    act();
  }
}

void RecordedEndpoint::warned(const std::string& what) {
  record([&](Reports& reports) { reports.warnings.push_back(what); });
}

void RecordedEndpoint::refused(std::uint32_t count, const std::string& reason) {
  record([&](Reports& reports) {
    reports.refused = count;
    reports.lastRefusal = reason;
    reports.refusals.push_back(count);
  });
}

void RecordedEndpoint::failed(std::exception_ptr reason) {
  std::string text;
  try {
    std::rethrow_exception(std::move(reason));
  } catch (const std::runtime_error& error) {
    text = error.what();
  }
  record([&](Reports& reports) { reports.changes.push_back("failed: " + text); });
}

void RecordedEndpoint::closed() {
  record([](Reports& reports) { reports.changes.emplace_back("closed"); });
}

std::string RecordedEndpoint::answer(const std::string& request, const std::string& asker) {
  record([&](Reports& reports) {
    reports.requests.push_back(request);
    reports.askers.push_back(asker);
  });
  return "answer to " + request;
}

}  // namespace spf::test
