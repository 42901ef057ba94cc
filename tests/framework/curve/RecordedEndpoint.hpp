#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "agent/spf/frameworkinterfaces/Transport.hpp"

namespace spf::test {

/// What a transport has reported about an endpoint so far.
struct Reports {
  /// One after the other: "opened", "lost: REASON", "closed", "failed: REASON".
  std::vector<std::string> changes;

  std::string address;      ///< of the last `opened`
  std::string reason;       ///< of the last `trying`
  std::uint32_t tries = 0;  ///< of the last `trying`
  std::uint32_t refused = 0;
  std::string lastRefusal;
  std::vector<std::uint32_t> refusals;  ///< the count of each `refused`
  std::vector<std::string> warnings;
  std::vector<std::string> requests;
  std::vector<std::string> askers;  ///< one for each request

  std::string last() const { return changes.empty() ? "" : changes.back(); }
  int count(const std::string& change) const;
  bool wasOpened() const { return count("opened") != 0; }
};

/// Records the reports about an endpoint, and lets a test wait for them. It answers requests with "answer to" and the
/// request. Any thread may call any member.
class RecordedEndpoint : public agent::spf::frameworkinterfaces::EndpointListener {
 public:
  using Condition = std::function<bool(const Reports&)>;

  /// Waits until the reports fulfil a condition.
  /// \return the reports; after the time-out of the tests the last ones, and the test has failed
  Reports waitFor(const Condition& condition);

  Reports waitForChange(const std::string& change, int times = 1);
  Reports waitForOpening(int times = 1) { return waitForChange("opened", times); }
  Reports waitForReason(const std::string& reason);
  Reports waitForRefusal(const std::string& reason, std::uint32_t count = 1);
  Reports reports() const;

  /// Sets what is called on the transport's thread when the endpoint is lost, after it was recorded.
  void onLoss(std::function<void()> act);

  void trying(const agent::spf::frameworkinterfaces::EndpointTries& tries) override;
  void opened(const std::string& address) override;
  void lost(const std::string& reason) override;
  void warned(const std::string& what) override;
  void refused(std::uint32_t count, const std::string& reason) override;
  void failed(std::exception_ptr reason) override;
  void closed() override;
  std::string answer(const std::string& request, const std::string& asker) override;

 private:
  void record(const std::function<void(Reports&)>& change);

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  Reports reports_;
  std::function<void()> onLoss_;
};

}  // namespace spf::test
