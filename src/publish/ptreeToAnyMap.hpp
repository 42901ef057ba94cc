#pragma once

#include <cppmicroservices/AnyMap.h>
#include <boost/property_tree/ptree_fwd.hpp>

namespace agent::spf::frameworksetup {

/// Turns a tree into a map that ignores the case of its keys.
///
/// A child with data becomes that text (its own children are lost), a child with children only a
/// nested map, any other child the empty text; the root's own data is ignored. Keys are escaped as
/// in JSON text, values are not. Of children with equal keys the last one's value stays, under the
/// first one's key. Recurses as deep as the tree is.
cppmicroservices::AnyMap ptreeToAnyMap(const boost::property_tree::ptree& tree);

}  // namespace agent::spf::frameworksetup
