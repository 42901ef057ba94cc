#include "WebPeers.hpp"

#include <array>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include "tcpAddresses.hpp"

namespace spf::test {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

WebServer::WebServer()
    : acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
      address_(toAddress(acceptor_.local_endpoint())) {
  accept();
  thread_ = std::thread([this] { context_.run(); });
}

WebServer::~WebServer() {
  context_.stop();
  thread_.join();
}

void WebServer::accept() {
  acceptor_.async_accept([this](const Error& error, tcp::socket client) {
    if (!error) {
      Error ignored;
      asio::write(client, asio::buffer(std::string("HTTP/1.0 400 Bad Request\r\n\r\n")), ignored);
      client.shutdown(tcp::socket::shutdown_both, ignored);
    }
    accept();
  });
}

void askAsWebBrowser(const std::string& address) {
  asio::io_context context;
  tcp::socket socket(context);
  socket.connect(toEndpoint(address));
  asio::write(socket, asio::buffer("GET / HTTP/1.0\r\n\r\n" + std::string(100, ' ')));
  std::array<char, 1000> answer{};
  Error ignored;
  socket.read_some(asio::buffer(answer), ignored);
}

}  // namespace spf::test
