#pragma once

#include <memory>
#include <utility>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleResource.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistration.h"

namespace cppmicroservices::detail {

/// Gives access to the private state of the public handles. Nothing else has it.
struct HandleAccess {
  static Bundle bundle(std::shared_ptr<BundlePrivate> state, std::shared_ptr<FrameworkLease> lease) {
    return Bundle(std::move(state), std::move(lease));
  }
  static const std::shared_ptr<BundlePrivate>& stateOf(const Bundle& bundle) { return bundle.bundle_; }
  static const std::shared_ptr<FrameworkLease>& leaseOf(const Bundle& bundle) { return bundle.lease_; }

  static BundleContext context(std::shared_ptr<BundleContextPrivate> state) { return BundleContext(std::move(state)); }
  static const std::shared_ptr<BundleContextPrivate>& stateOf(const BundleContext& context) { return context.context_; }

  static BundleResource resource(std::shared_ptr<const ResourceTree> tree, const ResourceNode* node) {
    return BundleResource(std::move(tree), node);
  }

  static ServiceReferenceBase reference(std::shared_ptr<ServiceRecord> record, const std::string* interfaceId) {
    return ServiceReferenceBase(std::move(record), interfaceId);
  }
  static const std::shared_ptr<ServiceRecord>& recordOf(const ServiceReferenceBase& reference) {
    return reference.record_;
  }
  /// Returns the ID of the interface that the reference is for; null if it is for the whole service.
  static const std::string* interfaceIdOf(const ServiceReferenceBase& reference) { return reference.interfaceId_; }

  /// Makes a registration.
  /// \param record  a result of ServiceRecord::forRegistration()
  static ServiceRegistrationBase registration(std::shared_ptr<ServiceRecord> record) {
    return ServiceRegistrationBase(std::move(record));
  }

  static ListenerToken token(ListenerTokenId id) { return ListenerToken(id); }
  static ListenerTokenId idOf(const ListenerToken& token) { return token.id_; }
};

}  // namespace cppmicroservices::detail
