#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace spfctl {

/// An endpoint that is not up.
struct OutstandingEndpoint {
  std::string what;      ///< "to bind" or "to connect"
  std::string endpoint;  ///< as it is configured
  std::string phase;     ///< "unresolved", "opening", "lost" or "refused"; empty if unknown
  std::string reason;    ///< why it is not up; empty if unknown
  unsigned tries = 0;
};

/// The handshakes that a bound endpoint has refused.
struct RefusedHandshakes {
  std::string endpoint;     ///< as it is configured
  std::uint64_t count = 0;  ///< at least one
  std::string last;         ///< why the last of them was
};

/// How many of a publisher's endpoints are up.
struct EndpointCount {
  std::size_t up = 0;
  std::size_t configured = 0;
};

/// The state of one publisher.
struct PublisherState {
  std::string id;
  EndpointCount bound;
  EndpointCount connected;
  std::vector<OutstandingEndpoint> outstanding;
  std::vector<RefusedHandshakes> refused;  ///< by each endpoint that has refused any
  bool endpointsComplete = false;          ///< all endpoints have been up once
  bool servicesPublished = false;
  std::string error;                            ///< what the framework says; empty if it says nothing
  std::chrono::steady_clock::time_point since;  ///< when it was published, got ready, or failed

  bool failed() const { return !error.empty(); }
  bool ready() const { return !failed() && endpointsComplete && servicesPublished; }

  /// Returns whether it is neither ready nor failed.
  bool isPending() const { return !failed() && !ready(); }
};

}  // namespace spfctl
