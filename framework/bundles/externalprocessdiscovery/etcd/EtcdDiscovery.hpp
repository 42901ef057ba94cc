#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AnnouncedNames.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"

namespace spf::etcddiscovery {

/// Resolves names that hosts announce in etcd, and announces in it. Names that another discovery knows, like the table,
/// stand for that one's addresses.
class EtcdDiscovery : public agent::spf::frameworkinterfaces::Discovery {
 public:
  using Discoveries = std::vector<std::shared_ptr<agent::spf::frameworkinterfaces::Discovery>>;

  /// \param discoveries  returns all that are registered, this one included
  EtcdDiscovery(std::shared_ptr<AnnouncedNames> names, std::function<Discoveries()> discoveries)
      : names_(std::move(names)), discoveries_(std::move(discoveries)) {}

  std::vector<DiscoveredAddress> addressesOf(const std::string& name) const override;
  std::unique_ptr<Announcement> announce(const AnnouncedEndpoint& endpoint) override { return names_->add(endpoint); }

 private:
  const std::shared_ptr<AnnouncedNames> names_;
  const std::function<Discoveries()> discoveries_;
};

}  // namespace spf::etcddiscovery
