#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworkinterfaces {

/// Where a service publisher reports what became of a revision of its configuration.
///
/// Any thread may call it, several at once, with or without locks: reports are queued and reach the
/// framework's listeners from a thread of the sink's own, in the order of the calls. The sink is unregistered
/// only after the publishers that its bundle has withdrawn reported the end of their services, or some
/// seconds later.
class [[gnu::visibility("default")]] EventSink {
 public:
  /// Which publisher, and which revision of its configuration it acted on.
  struct Origin {
    std::string servicePublisherID;
    std::uint32_t modificationCount;
  };

  virtual ~EventSink() = default;

  /// \param kept  the endpoint was bound by an earlier revision already
  virtual void endpointBound(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) = 0;

  /// \param kept  the endpoint was connected by an earlier revision already
  virtual void endpointConnected(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) = 0;

  virtual void allServicesPublished(const Origin& origin) = 0;
  virtual void allServicesUnpublished(const Origin& origin) = 0;

  /// \param error  why the publisher failed for good with this revision
  virtual void failed(const Origin& origin, std::exception_ptr error) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
