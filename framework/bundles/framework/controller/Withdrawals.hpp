#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace spf::controller {

/// The publishers whose configuration was removed and that have not reported yet that their services are unpublished.
///
/// Publishers are named by their ID, which several configurations may use: each removal stands for one report. Nobody
/// waits longer than some seconds from the removal, since a publisher may go away without its report. Any thread may
/// call any member.
class Withdrawals {
 public:
  /// A publisher has reported something other than the end of its services.
  void noteReport(const std::string& publisherID);

  /// A publisher has reported the end of its services.
  void noteUnpublished(const std::string& publisherID);

  /// Expects the report of a publisher. To be called before its configuration is removed.
  void expect(const std::string& publisherID);

  /// Undoes `expect`: the removal was reported to no publisher.
  void cancel(const std::string& publisherID);

  /// Blocks until no report is expected any more.
  void await();

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  void remove(const std::string& publisherID);
  void forgetOverdue(TimePoint now);

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::set<std::string> reporting_;
  std::multimap<std::string, TimePoint> deadlines_;
};

}  // namespace spf::controller
