#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace spf::controller {

/// The publishers whose configurations were removed and that have not yet reported that their services are unpublished.
///
/// Publishers are identified by their IDs, which several configurations may use: one report is expected for each
/// removal. Each expectation expires some seconds after the removal, since a publisher may be stopped without a report.
/// Any thread may call any member.
class Withdrawals {
 public:
  /// Records a report of a publisher, other than that its services are unpublished.
  void noteReport(const std::string& publisherID);

  /// Records the report that the services of a publisher are unpublished.
  void noteUnpublished(const std::string& publisherID);

  /// Expects the report of a publisher. Has to be called before its configuration is removed.
  void expect(const std::string& publisherID);

  /// Undoes `expect`, for a removal that is delivered to no publisher.
  void cancel(const std::string& publisherID);

  /// Blocks until no report is expected any longer.
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
