#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "agent/spf/etcd/Settings.hpp"

namespace agent::spf::etcd {

/// The requests of a registry so far. A watch counts as one request.
struct Traffic {
  std::uint64_t requests = 0;
  std::uint64_t sentBytes = 0;      ///< with the headers of HTTP, without those of TLS and TCP
  std::uint64_t receivedBytes = 0;  ///< alike
};

/// Keys of this process in etcd, and a copy of all keys under a prefix.
///
/// One thread does all the work, so that no call blocks but the destructor. It keeps what was put alive by one lease,
/// and the copy up to date by one watch. While etcd is away, the copy stays as it is, and what is put waits; afterwards
/// everything is put and read again within a time to live. Keys that are missing from the first listing after an outage
/// stay for one time to live more, because the processes that own them need as long to put them again. Any thread may
/// call any member, several at once.
class Registry {
 public:
  /// Keys without the prefix, and their values.
  using Entries = std::map<std::string, std::string>;

  /// What the registry calls on its thread, with no lock held, perhaps before its constructor has returned. A callback
  /// may call the registry, but not destroy it.
  struct Callbacks {
    /// The entries or the trouble have changed; may be empty. If it throws, it is called again after a short wait,
    /// until it returns.
    std::function<void()> changed;

    /// A message for the log, one for each outage, which is over when nothing has failed for one time to live, and one
    /// for each further failure in it that lasts for one time to live; may be empty. What it throws is swallowed.
    std::function<void(const std::string&)> warning;
  };

  /// Starts the thread, which connects to the members by itself.
  /// \throws std::invalid_argument  naming the setting if one cannot be used: no members, an empty time to live, a file
  ///                                that cannot be read
  /// \throws std::system_error      if the system has no thread left
  Registry(Settings settings, Callbacks callbacks);

  /// Gives the lease back, which removes this process's keys, and ends the thread. Blocks for one second at most, when
  /// etcd does not answer; the keys then stay until the lease lapses.
  ~Registry();

  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  /// Puts a key, or replaces its value, and keeps it until it is removed. Entries contain it once etcd has reported it.
  /// \param key  without the prefix
  /// \throws std::invalid_argument  if key and value have more than 512 KiB together, which etcd would not take
  void put(std::string key, std::string value);

  /// Removes a key that was put by this registry, from the entries at once; does nothing for others.
  void remove(const std::string& key);

  /// Returns the copy, which never changes: a change makes a new one. Empty before the first listing.
  std::shared_ptr<const Entries> entries() const;

  /// Returns whether a listing has ever arrived.
  bool isListed() const;

  /// Returns why the copy may be out of date, or why others may not see what was put, naming the member; empty if all
  /// is current. Until the first watch stands it says that there is no answer yet.
  std::string trouble() const;

  /// Returns what was sent and received so far.
  Traffic traffic() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace agent::spf::etcd
