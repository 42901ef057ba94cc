#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices::configurationadmin {

/// Counts the changes of all configurations.
using Revision = std::uint64_t;

/// The services of one kind that want to be told of changes, in the order of their registration.
/// Not synchronised.
template <class Service>
class SubscriberList {
 public:
  using Services = std::vector<std::shared_ptr<Service>>;

  /// \param id     the service's ID, which grows with each registration
  /// \param pid    what it wants to know about
  /// \param since  it knows of the changes up to this one
  void add(long id, std::string pid, Revision since, std::shared_ptr<Service> service) {
    const auto place = std::find_if(subscribers_.begin(), subscribers_.end(),
                                    [id](const Subscriber& subscriber) { return subscriber.id > id; });
    subscribers_.insert(place, {id, std::move(pid), since, std::move(service)});
  }

  /// Returns the service, whose last holder the caller may now be; null if there is none.
  std::shared_ptr<Service> remove(long id) {
    const auto found = std::find_if(subscribers_.begin(), subscribers_.end(),
                                    [id](const Subscriber& subscriber) { return subscriber.id == id; });
    if (found == subscribers_.end()) {
      return nullptr;
    }
    auto service = std::move(found->service);
    subscribers_.erase(found);
    return service;
  }

  /// Those that have to be told of that change of that PID.
  Services interestedIn(const std::string& pid, Revision revision) const {
    Services services;
    for (const auto& subscriber : subscribers_) {
      if (subscriber.pid == pid && subscriber.since < revision) {
        services.push_back(subscriber.service);
      }
    }
    return services;
  }

 private:
  struct Subscriber {
    long id;
    std::string pid;
    Revision since;
    std::shared_ptr<Service> service;
  };

  std::vector<Subscriber> subscribers_;
};

}  // namespace cppmicroservices::configurationadmin
