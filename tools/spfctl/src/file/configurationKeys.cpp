#include "file/configurationKeys.hpp"

namespace spfctl {

namespace {

constexpr bool required = true;
constexpr bool optional = false;

}  // namespace

const ConfigurationObject configurationObject{
    "the configuration",
    "configuration",
    {{"configurationID", ValueShape::text, optional,
      "Identity of the configuration; without one, it gets a generated identity when it is published."},
     {"serviceInterfaces", ValueShape::serviceInterfaces, optional, "The interfaces of services to publish."},
     {"servicePublishers", ValueShape::servicePublishers, optional, "Who publishes them, and where."},
     {"serviceMappings", ValueShape::serviceMappings, optional, "Which publisher publishes which interface."},
     {"$schema", ValueShape::text, optional, "Where the JSON Schema of this file is, for editors."}}};

const ConfigurationObject serviceInterfaceObject{
    "a service interface",
    "serviceInterface",
    {{"uniqueID", ValueShape::text, required, "Names the interface within this file."},
     {"name", ValueShape::text, required, "The name under which bundles offer the interface."},
     {"requestedProperties", ValueShape::tree, optional,
      "Properties that services are asked for; scalars become texts."},
     {"requiredRuntimeServiceProperties", ValueShape::texts, optional,
      "Properties that a service must have at run time, by name."},
     {"toAllServicePublishers", ValueShape::boolean, optional,
      "Whether every publisher publishes the interface, without a mapping."}}};

const ConfigurationObject servicePublisherObject{
    "a service publisher",
    "servicePublisher",
    {{"uniqueID", ValueShape::text, required, "Names the publisher within this file."},
     {"name", ValueShape::text, required, "The kind of publisher: rpcservicepublisher or legacyservicepublisher."},
     {"endpointsToConnectTo", ValueShape::endpoints, optional,
      "Addresses or discovery names to connect to; tcp://HOST:PORT#NAME names the peer's key."},
     {"endpointsToBindTo", ValueShape::endpoints, optional, "Addresses to listen at."},
     {"importFilter", ValueShape::filter, optional, "An LDAP filter."},
     {"exportFilter", ValueShape::filter, optional, "An LDAP filter on the properties of the services to publish."}}};

const ConfigurationObject serviceMappingObject{
    "a service mapping",
    "serviceMapping",
    {{"serviceInterfaceID", ValueShape::text, required, "The uniqueID of an interface of this file."},
     {"servicePublisherID", ValueShape::text, required, "The uniqueID of a publisher of this file."}}};

}  // namespace spfctl
