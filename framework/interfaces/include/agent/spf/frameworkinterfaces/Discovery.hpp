#pragma once

#include <memory>
#include <string>
#include <vector>

namespace agent::spf::frameworkinterfaces {

/// An address that a discovery name stands for.
struct DiscoveredAddress {
  std::string address;       ///< in the form that Transport accepts
  std::string key;           ///< the name of the key that the peer has to prove; empty if it has none
  std::string announcement;  ///< the ID of its announcement; empty for a fixed entry
};

/// Compares all members.
inline bool operator==(const DiscoveredAddress& left, const DiscoveredAddress& right) {
  return left.address == right.address && left.key == right.key && left.announcement == right.announcement;
}

/// What is announced of a bound endpoint.
struct AnnouncedEndpoint {
  std::string name;           ///< the discovery name, of letters, digits, '.', '_' and '-'
  std::string address;        ///< the one that peers can reach
  std::string key;            ///< the name of the key that the endpoint proves to peers; empty if it has none
  std::string configuration;  ///< the ID of the configuration that it belongs to
};

/// Keeps an address announced. Its destruction withdraws the address and does not block; any thread may destroy it,
/// also after the service has ended.
class [[gnu::visibility("default")]] Announcement {
 public:
  virtual ~Announcement() = default;

  /// Returns the ID, which no other announcement has, of this process or of another.
  virtual const std::string& id() const = 0;
};

/// A service that resolves discovery names to addresses, and announces addresses under names.
///
/// Any thread may call it, several at once. No call blocks. After each change of what a name stands for, or of why a
/// name stands for nothing, the bundle calls every DiscoveryListener. If several services are registered, the one with
/// the highest ranking counts.
class [[gnu::visibility("default")]] Discovery {
 public:
  virtual ~Discovery() = default;

  /// Returns the addresses of a name: at least one, without duplicates, in the same order until they change. Addresses
  /// that this process announces are among them.
  /// \throws std::runtime_error with the reason if there is none, or if the addresses cannot be known now
  virtual std::vector<DiscoveredAddress> addressesOf(const std::string& name) const = 0;

  /// Announces an address under a name, as long as the returned object exists. The service repeats what it has to; an
  /// announcement that cannot reach others now does so later.
  /// \throws std::runtime_error if the service has ended
  virtual std::unique_ptr<Announcement> announce(const AnnouncedEndpoint& endpoint) = 0;
};

/// A service to which each discovery reports changes. A bundle that resolves names registers one.
class [[gnu::visibility("default")]] DiscoveryListener {
 public:
  virtual ~DiscoveryListener() = default;

  /// Reports that what names stand for may have changed. Called on a thread of the discovery's own, with no lock held,
  /// also while the discovery ends; one call may stand for several changes. Returns at once: a slow listener delays the
  /// others. Exceptions are swallowed.
  virtual void discoveryChanged() = 0;
};

}  // namespace agent::spf::frameworkinterfaces
