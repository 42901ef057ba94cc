// Shows the library's log: enables two levels, and prints the records of the library's channel with a Boost.Log sink.

#include <cstdint>
#include <iostream>
#include <string>

#include <agent/host/host.hpp>
#include <agent/host/logging_levels.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>
#include <boost/core/null_deleter.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>

using namespace std::chrono_literals;
namespace expressions = boost::log::expressions;
namespace sinks = boost::log::sinks;

namespace {

constexpr std::uint32_t progress = 4;
constexpr std::uint32_t swallowedExceptions = 512;

// A sink runs on the thread that writes the record, with a lock of the library held: it returns soon, and waits for
// nothing that uses the same configuration.
void printChannel(const std::string& channel) {
  auto backend = boost::make_shared<sinks::text_ostream_backend>();
  backend->add_stream(boost::shared_ptr<std::ostream>(&std::cout, boost::null_deleter()));
  backend->auto_flush(true);
  auto sink = boost::make_shared<sinks::synchronous_sink<sinks::text_ostream_backend>>(backend);
  sink->set_filter(expressions::attr<std::string>("Channel") == channel);
  sink->set_formatter(expressions::stream << expressions::attr<std::uint32_t>("Severity") << " "
                                          << expressions::smessage);
  boost::log::core::get()->add_sink(sink);
}

}  // namespace

int main() {
  printChannel("agent::spf::frameworksetup");
  agent::host::logging::set_enabled_levels(progress | swallowedExceptions);

  const agent::host::services::Host host;
  auto weather = agent::spf::frameworksetup::SPFConfigurationBuilder("weather")
                     .addServicePublisher("station", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .build();
  return weather.waitForAllEndpoints(10s, "station") && weather.waitForAllServices(10s, "station") ? 0 : 1;
}
