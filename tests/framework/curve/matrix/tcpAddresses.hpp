#pragma once

#include <string>

#include <boost/asio/ip/tcp.hpp>

namespace spf::test {

/// Converts an address of an endpoint, with a numeric host of IPv4.
inline boost::asio::ip::tcp::endpoint toEndpoint(const std::string& address) {
  const auto host = address.find("://") + 3;
  const auto colon = address.rfind(':');
  return {boost::asio::ip::make_address(address.substr(host, colon - host)),
          static_cast<unsigned short>(std::stoi(address.substr(colon + 1)))};
}

inline std::string toAddress(const boost::asio::ip::tcp::endpoint& endpoint) {
  return "tcp://" + endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

}  // namespace spf::test
