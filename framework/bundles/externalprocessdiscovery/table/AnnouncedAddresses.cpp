#include "AnnouncedAddresses.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworksupport/uniqueID.hpp"

namespace spf::discovery {

namespace {

class TableAnnouncement : public Announcement {
 public:
  TableAnnouncement(std::shared_ptr<AnnouncedAddresses> addresses, std::string name, std::string id)
      : addresses_(std::move(addresses)), name_(std::move(name)), id_(std::move(id)) {}
  ~TableAnnouncement() override { addresses_->remove(name_, id_); }

  TableAnnouncement(const TableAnnouncement&) = delete;
  TableAnnouncement& operator=(const TableAnnouncement&) = delete;

  const std::string& id() const override { return id_; }

 private:
  const std::shared_ptr<AnnouncedAddresses> addresses_;
  const std::string name_;
  const std::string id_;
};

}  // namespace

std::unique_ptr<Announcement> AnnouncedAddresses::add(const AnnouncedEndpoint& endpoint) {
  auto added =
      std::make_unique<TableAnnouncement>(shared_from_this(), endpoint.name, agent::spf::frameworksupport::uniqueID());
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isEnded_) {
      throw std::runtime_error("cannot announce '" + endpoint.name + "' at '" + endpoint.address +
                               "': the discovery has ended");
    }
    addresses_[endpoint.name].push_back({endpoint.address, endpoint.key, added->id()});
  }
  onChange_();
  return added;
}

void AnnouncedAddresses::remove(const std::string& name, const std::string& id) noexcept {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto ofName = addresses_.find(name);
    if (ofName == addresses_.end()) {
      return;
    }
    auto& addresses = ofName->second;
    const auto removed = std::find_if(addresses.begin(), addresses.end(),
                                      [&](const DiscoveredAddress& address) { return address.announcement == id; });
    if (removed == addresses.end()) {
      return;
    }
    addresses.erase(removed);
    if (addresses.empty()) {
      addresses_.erase(ofName);
    }
  }
  try {
    onChange_();
  } catch (...) {
    // No memory is left for the report; the next one stands for this change too.
  }
}

std::vector<DiscoveredAddress> AnnouncedAddresses::of(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = addresses_.find(name);
  return found != addresses_.end() ? found->second : std::vector<DiscoveredAddress>();
}

void AnnouncedAddresses::end() {
  const std::lock_guard<std::mutex> lock(mutex_);
  isEnded_ = true;
}

}  // namespace spf::discovery
