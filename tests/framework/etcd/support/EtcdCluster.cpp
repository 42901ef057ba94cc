#include "EtcdCluster.hpp"

#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace etcdtest {

namespace {

/// Returns whether a member says that it is the leader.
bool isLeader(const EtcdProcess& member) {
  try {
    const auto answer = nlohmann::json::parse(member.control({"endpoint", "status", "--write-out=json"}));
    const auto& status = answer.at(0).at("Status");
    return status.at("leader") == status.at("header").at("member_id");
  } catch (const std::exception&) {
    return false;  // it does not answer
  }
}

}  // namespace

EtcdCluster::EtcdCluster(std::size_t size, const std::vector<std::string>& arguments) {
  std::vector<EtcdOptions> all(size);
  std::string cluster;
  for (std::size_t index = 0; index < size; ++index) {
    all[index].name = "member" + std::to_string(index);
    all[index].folder = folder_.path();
    all[index].arguments = arguments;
    cluster += (cluster.empty() ? "" : ",") + all[index].name + "=http://" + addressOfThisProcess() + ":" +
               std::to_string(all[index].peerPort);
  }
  for (EtcdOptions& options : all) {
    options.cluster = cluster;
    members_.push_back(std::make_unique<EtcdProcess>(options));
  }
}

bool EtcdCluster::waitUntilServing() {
  return std::all_of(members_.begin(), members_.end(), [](const auto& member) { return member->waitUntilServing(); });
}

std::size_t EtcdCluster::leader() const {
  for (std::size_t index = 0; index < members_.size(); ++index) {
    if (isLeader(*members_[index])) {
      return index;
    }
  }
  throw std::runtime_error("the cluster has no leader");
}

std::vector<std::string> EtcdCluster::urls() const {
  std::vector<std::string> urls;
  for (const auto& member : members_) {
    urls.push_back(member->url());
  }
  return urls;
}

}  // namespace etcdtest
