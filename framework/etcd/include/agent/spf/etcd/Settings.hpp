#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace agent::spf::etcd {

/// How to reach a cluster of etcd, and what to use in it.
struct Settings {
  std::vector<std::string> members;  ///< the client URLs, for example "http://10.0.0.1:2379"; at least one
  std::string prefix = "/spf/";      ///< of all keys that are read and written
  std::chrono::seconds ttl{10};      ///< how long keys outlive a process that ends without removing them

  std::string caFile;           ///< PEM file of the authorities that members' certificates are checked against; empty
                                ///< for the system's
  std::string certificateFile;  ///< PEM file of the client's own certificate; empty for none
  std::string keyFile;          ///< PEM file of its key; empty for none

  std::string user;          ///< empty if the cluster needs no user
  std::string passwordFile;  ///< holds the user's password; a line break at its end does not count
};

/// Splits a list of client URLs at its commas; white space around a URL does not count.
/// \throws std::invalid_argument  naming the part that is no URL of the form `http[s]://HOST:PORT`
std::vector<std::string> parseMembers(const std::string& list);

}  // namespace agent::spf::etcd
