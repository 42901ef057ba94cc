#include "FakeMember.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include "spf/test/Gate.hpp"

namespace etcdtest {

namespace {

using Reply = FakeMember::Reply;

std::map<std::string, FakeMember::Handler> usualHandlers() {
  const auto always = [](Reply reply) {
    return [reply = std::move(reply)](const FakeMember::Request&) { return reply; };
  };
  return {{"/v3/kv/range", always({200, R"({"header":{"revision":"1"}})"})},
          {"/v3/kv/txn", always({200, R"({"header":{"revision":"2"},"succeeded":true})"})},
          {"/v3/lease/grant", always({200, R"({"ID":"7","TTL":"1"})"})},
          {"/v3/lease/keepalive", always({200, R"({"result":{"ID":"7","TTL":"1"}})"})},
          {"/v3/lease/revoke", always({200, "{}"})},
          {"/v3/watch", always({200, "{\"result\":{\"created\":true}}\n", Reply::Kind::stream})}};
}

bool sendAll(int socket, const std::string& text) {
  for (std::size_t sent = 0; sent < text.size();) {
    const auto size = send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (size <= 0) {
      return false;
    }
    sent += static_cast<std::size_t>(size);
  }
  return true;
}

bool receiveMore(int socket, std::string& text) {
  std::array<char, 16384> buffer{};
  const auto size = recv(socket, buffer.data(), buffer.size(), 0);
  if (size > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
  return size > 0;
}

std::string header(const std::string& head, const std::string& name) {
  const auto begin = head.find("\r\n" + name + ": ");
  if (begin == std::string::npos) {
    return "";
  }
  const auto value = begin + name.size() + 4;
  return head.substr(value, head.find("\r\n", value) - value);
}

// Reads one request; nothing if the connection ends before.
std::optional<FakeMember::Request> receiveRequest(int socket) {
  std::string text;
  auto end = std::string::npos;
  while ((end = text.find("\r\n\r\n")) == std::string::npos) {
    if (!receiveMore(socket, text)) {
      return std::nullopt;
    }
  }
  const auto head = text.substr(0, end + 2);
  const auto size = std::stoul(header(head, "Content-Length"));
  while (text.size() < end + 4 + size) {
    if (!receiveMore(socket, text)) {
      return std::nullopt;
    }
  }
  const auto path = head.find(' ') + 1;
  return FakeMember::Request{head.substr(path, head.find(' ', path) - path), text.substr(end + 4, size),
                             header(head, "Authorization")};
}

std::string headOf(const Reply& reply) {
  const auto size = reply.body.size() + (reply.kind == Reply::Kind::truncated ? 1 : 0);
  return "HTTP/1.1 " + std::to_string(reply.status) + " Some\r\nConnection: close\r\n" +
         (reply.kind == Reply::Kind::stream ? "" : "Content-Length: " + std::to_string(size) + "\r\n") + "\r\n";
}

}  // namespace

FakeMember::FakeMember() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), handlers_(usualHandlers()) {
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(where);
  if (bind(listener_, reinterpret_cast<const sockaddr*>(&where), size) != 0 || listen(listener_, 100) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&where), &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot listen");
  }
  url_ = "http://127.0.0.1:" + std::to_string(ntohs(where.sin_port));
  acceptor_ = std::thread([this] { accept(); });
}

FakeMember::~FakeMember() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopping_ = true;
  }
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  endConnections();
  for (auto& connection : connections_) {
    connection.thread.join();
    close(connection.socket);
  }
  close(listener_);
}

void FakeMember::on(const std::string& path, Handler handler) {
  const std::lock_guard<std::mutex> lock(mutex_);
  handlers_[path] = std::move(handler);
}

void FakeMember::on(const std::string& path, Reply reply) {
  on(path, [reply = std::move(reply)](const Request&) { return reply; });
}

void FakeMember::stream(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& connection : connections_) {
    if (connection.isStream) {
      sendAll(connection.socket, text);
    }
  }
}

void FakeMember::endConnections() {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& connection : connections_) {
    shutdown(connection.socket, SHUT_RDWR);
  }
}

bool FakeMember::waitFor(const std::string& path, std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, spf::test::patience, [&] { return requests_[path].size() >= count; });
}

std::vector<FakeMember::Request> FakeMember::requests(const std::string& path) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = requests_.find(path);
  return found == requests_.end() ? std::vector<Request>() : found->second;
}

void FakeMember::accept() {
  for (;;) {
    const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (accepted < 0 || isStopping_) {
      close(accepted);
      return;
    }
    auto& connection = connections_.emplace_back();
    connection.socket = accepted;
    connection.thread = std::thread([this, &connection] { serve(connection); });
  }
}

void FakeMember::serve(Connection& connection) {
  const auto request = receiveRequest(connection.socket);
  if (!request) {
    return;
  }
  const auto reply = answer(*request);
  const auto isStream = reply.kind == Reply::Kind::stream;
  {
    // Nothing may be added to the stream before its beginning.
    const std::lock_guard<std::mutex> lock(mutex_);
    connection.isStream = isStream;
    if (reply.kind != Reply::Kind::never) {
      sendAll(connection.socket, headOf(reply) + reply.body);
    }
  }
  std::string rest;
  while ((isStream || reply.kind == Reply::Kind::never) && receiveMore(connection.socket, rest)) {
  }
  shutdown(connection.socket, SHUT_RDWR);
}

FakeMember::Reply FakeMember::answer(const Request& request) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto handler = handlers_[request.path];
  lock.unlock();
  const auto reply = handler ? handler(request) : Reply{404, "Not Found"};
  lock.lock();
  requests_[request.path].push_back(request);
  changed_.notify_all();
  return reply;
}

}  // namespace etcdtest
