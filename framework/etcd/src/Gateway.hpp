#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "HttpLoop.hpp"
#include "Members.hpp"
#include "agent/spf/etcd/Settings.hpp"
#include "gatewayMessages.hpp"

namespace agent::spf::etcd {

/// The outcome of a question.
struct GatewayAnswer {
  std::size_t member = 0;
  std::string problem;  ///< why it failed, naming the member; empty if it did not
  int code = 0;         ///< gRPC's code of a refusal; zero if there is none
  std::string body;     ///< of a success; empty for a stream
};

/// A question to one member.
struct GatewayQuestion {
  const char* path = "";
  std::string body;
  std::chrono::milliseconds timeout{0};                     ///< with the authentication, if it is necessary
  std::function<void(std::string_view)> onPiece = nullptr;  ///< makes the answer a stream
  std::function<void(GatewayAnswer)> onAnswer;
};

/// Asks the members of a cluster, as the user of the settings. Used by one thread.
class Gateway {
 public:
  class Exchange;
  struct ExchangeDeleter {
    void operator()(Exchange* exchange) const noexcept;
  };

  /// Cancels the question when it is destroyed, which its own handlers may do.
  using Call = std::unique_ptr<Exchange, ExchangeDeleter>;

  /// \throws std::invalid_argument  if the password cannot be read
  Gateway(HttpLoop& loop, Members& members, const Settings& settings);

  /// Asks the current member.
  Call ask(GatewayQuestion question) { return ask(members_.current(), std::move(question)); }

  Call ask(std::size_t member, GatewayQuestion question);

  Members& members() noexcept { return members_; }

  /// Returns a message of one line that begins with the member's URL.
  std::string describe(std::size_t member, const std::string& problem) const;

 private:
  HttpLoop& loop_;
  Members& members_;
  const std::string user_;
  const std::string password_;
  std::string token_;  // empty until the first authentication
};

}  // namespace agent::spf::etcd
