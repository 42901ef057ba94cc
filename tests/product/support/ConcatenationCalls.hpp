#pragma once

#include <string>
#include <utility>
#include <vector>

namespace spf::test {

/// The calls of the host's `concatenate_pathname` that its thread makes while it lives. The test
/// executable defines that function itself, notes the call, and passes it on.
class ConcatenationCalls {
 public:
  ConcatenationCalls();
  ~ConcatenationCalls();
  ConcatenationCalls(const ConcatenationCalls&) = delete;
  ConcatenationCalls& operator=(const ConcatenationCalls&) = delete;

  void note(const std::wstring& component, bool flag) { calls_.emplace_back(component, flag); }

  /// What was appended, and with which flag.
  const std::vector<std::pair<std::wstring, bool>>& calls() const { return calls_; }

 private:
  std::vector<std::pair<std::wstring, bool>> calls_;
};

}  // namespace spf::test
