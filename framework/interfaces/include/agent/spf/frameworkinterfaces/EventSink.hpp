#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworkinterfaces {

/// A service to which service publishers report the progress of a revision of their configuration.
///
/// Any thread may call it, several at once, with or without locks held: reports are queued and delivered to the
/// framework's listeners by a thread of the sink, in the order of the calls. The sink is unregistered once all
/// publishers that its bundle withdrew have reported that their services are unpublished, or after a time-out of
/// some seconds.
class [[gnu::visibility("default")]] EventSink {
 public:
  /// A publisher, and the revision of its configuration that a report is about.
  struct Origin {
    std::string servicePublisherID;   ///< the publisher's uniqueID
    std::uint32_t modificationCount;  ///< the revision
  };

  virtual ~EventSink() = default;

  /// Reports that an endpoint is bound.
  /// \param origin    the publisher and its revision
  /// \param endpoint  as configured
  /// \param kept      whether it was already bound by an earlier revision
  virtual void endpointBound(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) = 0;

  /// Reports that an endpoint is connected.
  /// \param origin    the publisher and its revision
  /// \param endpoint  as configured
  /// \param kept      whether it was already connected by an earlier revision
  virtual void endpointConnected(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) = 0;

  /// Reports that all services of the publisher are published.
  virtual void allServicesPublished(const Origin& origin) = 0;

  /// Reports that all services of the publisher are unpublished.
  virtual void allServicesUnpublished(const Origin& origin) = 0;

  /// Reports that the publisher failed permanently with this revision.
  /// \param origin  the publisher and its revision
  /// \param error   the reason
  virtual void failed(const Origin& origin, std::exception_ptr error) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
