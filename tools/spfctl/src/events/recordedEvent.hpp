#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>

#include <cppmicroservices/Any.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace spfctl {

/// A revision that the host published.
struct RecordedConfiguration {
  std::string configurationID;
  std::uint32_t revision;
  std::string file;  ///< the file's name
  std::string text;  ///< the file's text
};

/// A ServicesEvent of the framework.
struct RecordedServices {
  std::string publisher;
  std::uint32_t revision;
  std::uint32_t change;  ///< as in the event; it may be one that this version does not know
};

/// An EndpointEvent of the framework.
struct RecordedEndpoint {
  std::string publisher;
  std::uint32_t revision;
  std::uint32_t change;  ///< as above
  cppmicroservices::Any endpoint;
};

/// An ErrorEvent of the framework.
struct RecordedError {
  std::string publisher;
  std::uint32_t revision;
  std::string error;
};

/// An event of a kind that this version does not know.
struct RecordedOther {
  std::uint32_t number;
};

/// Events that the recording lacks.
struct RecordedDrop {
  std::uint64_t count;
};

/// What one line of a recording holds, but for the time.
using RecordedEvent =
    std::variant<RecordedConfiguration, RecordedServices, RecordedEndpoint, RecordedError, RecordedOther, RecordedDrop>;

/// Returns a copy of an event that holds nothing of its sender: any thread may read it, also when the sender's code is
/// no longer there. An endpoint of a type that configuration files cannot express becomes the text that the runtime
/// prints for it. An error's text is read here: "no reason" for a null pointer, "an error without a text" for an empty
/// text and for what is no std::exception.
/// \throws std::bad_alloc
RecordedEvent recorded(const agent::spf::frameworklistener::FrameworkEvent& event);

/// Returns the line of a recording, without the end of line. Bytes that are no UTF-8 become replacement characters.
std::string lineOf(const RecordedEvent& event, std::chrono::system_clock::time_point time);

/// Returns the word of a recording for a change of services or of an endpoint, as the events number them; empty for a
/// number that this version does not know.
std::string nameOfServicesChange(std::uint32_t change);
std::string nameOfEndpointChange(std::uint32_t change);

}  // namespace spfctl
