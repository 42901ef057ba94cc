#include "AnnouncedNames.hpp"

#include <array>
#include <stdexcept>

#include <unistd.h>
#include "agent/spf/frameworksupport/uniqueID.hpp"

namespace spf::etcddiscovery {

namespace {

class EtcdAnnouncement : public Announcement {
 public:
  EtcdAnnouncement(std::shared_ptr<AnnouncedNames> names, std::string id)
      : names_(std::move(names)), id_(std::move(id)) {}
  ~EtcdAnnouncement() override { names_->remove(id_); }

  EtcdAnnouncement(const EtcdAnnouncement&) = delete;
  EtcdAnnouncement& operator=(const EtcdAnnouncement&) = delete;

  const std::string& id() const override { return id_; }

 private:
  const std::shared_ptr<AnnouncedNames> names_;
  const std::string id_;
};

std::string nameOfThisMachine() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

NameRecord recordOf(const AnnouncedEndpoint& endpoint, const std::string& id) {
  NameRecord record;
  record.name = endpoint.name;
  record.id = id;
  record.address = endpoint.address;
  record.key = endpoint.key;
  record.host = nameOfThisMachine();
  record.process = getpid();
  record.configuration = endpoint.configuration;
  record.since = std::chrono::system_clock::now();
  return record;
}

DiscoveredAddress addressOf(const NameRecord& record) {
  return {record.address, record.key, record.id};
}

}  // namespace

AnnouncedNames::AnnouncedNames(std::function<void()> onChange, std::function<void(const std::string&)> onWarning)
    : onChange_(std::move(onChange)), reader_(std::move(onWarning)) {}

void AnnouncedNames::begin(std::unique_ptr<Registry> registry) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    registry_ = std::move(registry);
  }
  refresh();  // the registry may have read entries before it was set here
}

std::unique_ptr<Announcement> AnnouncedNames::add(const AnnouncedEndpoint& endpoint) {
  const std::string id = agent::spf::frameworksupport::uniqueID();
  const NameRecord record = recordOf(endpoint, id);
  auto [key, value] = encode(record);
  auto added = std::make_unique<EtcdAnnouncement>(shared_from_this(), id);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!registry_) {
      throw std::runtime_error("cannot announce '" + endpoint.name + "' at '" + endpoint.address +
                               "': the discovery has ended");
    }
    removeWithdrawn();
    const auto own = own_.emplace(id, Own{endpoint.name, key, addressOf(record)}).first;
    try {
      registry_->put(std::move(key), std::move(value));
    } catch (...) {
      own_.erase(own);
      throw;
    }
  }
  onChange_();
  return added;
}

void AnnouncedNames::remove(const std::string& id) noexcept {
  try {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto withdrawn = own_.find(id);
      if (withdrawn == own_.end()) {
        return;
      }
      withdrawn->second.isWithdrawn = true;
      // At once, not only when etcd has reported it.
      const auto found = found_.find(withdrawn->second.name);
      if (found != found_.end()) {
        found->second.erase(id);
      }
      removeWithdrawn();
    }
    onChange_();
  } catch (...) {
    // It stays marked, and is removed later.
  }
}

/// Removes withdrawn announcements from the registry.
void AnnouncedNames::removeWithdrawn() {
  for (auto own = own_.begin(); own != own_.end();) {
    if (own->second.isWithdrawn) {
      registry_->remove(own->second.key);
      own = own_.erase(own);
    } else {
      ++own;
    }
  }
}

void AnnouncedNames::refresh() {
  {
    const std::lock_guard<std::mutex> refreshing(refreshing_);
    const Registry* registry = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      registry = registry_.get();  // lives on: `end` waits for the registry's thread, which is this one
    }
    if (registry == nullptr) {
      return;
    }
    std::map<std::string, Addresses> found;
    for (const NameRecord& record : reader_.read(*registry->entries())) {
      found[record.name].emplace(record.id, addressOf(record));
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    found_.swap(found);
    if (registry_) {
      removeWithdrawn();
    }
  }
  onChange_();
}

std::vector<DiscoveredAddress> AnnouncedNames::of(const std::string& name) const {
  Addresses addresses;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = found_.find(name);
    if (found != found_.end()) {
      addresses = found->second;
    }
    for (const auto& [id, own] : own_) {
      if (own.isWithdrawn) {
        addresses.erase(id);
      } else if (own.name == name) {
        addresses.emplace(id, own.address);
      }
    }
  }
  std::vector<DiscoveredAddress> result;
  for (auto& [id, address] : addresses) {
    result.push_back(std::move(address));
  }
  return result;
}

std::string AnnouncedNames::trouble() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!registry_) {
    return "the discovery has ended";
  }
  auto trouble = registry_->trouble();
  return trouble.empty() && !registry_->isListed() ? "etcd has not answered yet" : trouble;
}

void AnnouncedNames::end() {
  std::unique_ptr<Registry> ended;  // destroyed outside of the lock, which its thread takes
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended.swap(registry_);
    own_.clear();
    found_.clear();
  }
}

}  // namespace spf::etcddiscovery
