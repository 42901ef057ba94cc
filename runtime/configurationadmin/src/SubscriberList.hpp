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

/// The services of one type that changes are delivered to, in the order of their registration. Not synchronised.
template <class Service>
class SubscriberList {
 public:
  using Services = std::vector<std::shared_ptr<Service>>;

  /// Adds a service.
  /// \param id     the service's ID, which grows with each registration
  /// \param pid    the PID of the changes to deliver
  /// \param since  the last change that is not to be delivered any more
  void add(long id, std::string pid, Revision since, std::shared_ptr<Service> service) {
    const auto place = std::find_if(subscribers_.begin(), subscribers_.end(),
                                    [id](const Subscriber& subscriber) { return subscriber.id > id; });
    subscribers_.insert(place, {id, std::move(pid), since, std::move(service)});
  }

  /// Removes a service.
  /// \return the service, which the caller may now be the last to hold; null if there is none
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

  /// Returns the services to which that change of that PID has to be delivered.
  Services findSubscribed(const std::string& pid, Revision revision) const {
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
