#pragma once

#include <string>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace spf::test {

/// A server that speaks HTTP to whoever connects, and hangs up.
class WebServer {
 public:
  WebServer();
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  std::string address() const { return address_; }

 private:
  void accept();

  boost::asio::io_context context_;
  boost::asio::ip::tcp::acceptor acceptor_;
  const std::string address_;
  std::thread thread_;
};

/// Sends a request of HTTP to an address, and blocks until something comes back, or the end.
void askAsWebBrowser(const std::string& address);

}  // namespace spf::test
