#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "EtcdProcess.hpp"
#include "support/TemporaryFolder.hpp"

namespace etcdtest {

/// Members of one cluster, with a folder of their own.
class EtcdCluster {
 public:
  /// Starts the members without waiting for them.
  explicit EtcdCluster(std::size_t size = 1, const std::vector<std::string>& arguments = {});

  /// Blocks until every member serves clients. \return false if one does not
  [[nodiscard]] bool waitUntilServing();

  EtcdProcess& member(std::size_t index) { return *members_.at(index); }
  std::size_t size() const noexcept { return members_.size(); }

  /// Returns the index of the leader.
  /// \throws std::runtime_error if there is none among the members that answer
  std::size_t leader() const;

  /// Returns the members' client URLs.
  std::vector<std::string> urls() const;

  const std::string& folder() const noexcept { return folder_.path(); }

 private:
  const frameworktest::TemporaryFolder folder_;
  std::vector<std::unique_ptr<EtcdProcess>> members_;
};

}  // namespace etcdtest
