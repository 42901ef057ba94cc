#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cppmicroservices {
class Framework;
}  // namespace cppmicroservices

namespace spf::test {

/// One call of `installAndStart`.
struct Installation {
  std::wstring directory;
  bool flag;
  std::optional<std::string> filter;
};

/// Stands in the place of the host services library: the test executable defines `getFramework` and
/// `installAndStart` itself, and this object says what they do. One at a time; none: no framework.
class HostDouble {
 public:
  HostDouble();
  ~HostDouble();
  HostDouble(const HostDouble&) = delete;
  HostDouble& operator=(const HostDouble&) = delete;

  void setFramework(std::shared_ptr<cppmicroservices::Framework> framework);

  /// Called for every `getFramework`, before it answers; may throw.
  void onGetFramework(std::function<void()> action);

  /// Called for every `installAndStart`, after it was noted; may throw.
  void onInstallation(std::function<void(const Installation&)> action);

  std::vector<Installation> installations() const;
  void forgetInstallations();
};

}  // namespace spf::test
