#include "Gateway.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "validate.hpp"

namespace agent::spf::etcd {

namespace {

constexpr long httpOk = 200;
constexpr int grpcUnauthenticated = 16;

// Tokens expire, a restarted member knows none, and a change of the users makes all of them old.
bool isAboutToken(const Refusal& refusal) {
  const auto mentions = [&](const char* words) { return refusal.message.find(words) != std::string::npos; };
  return refusal.code == grpcUnauthenticated || mentions("invalid auth token") || mentions("user name is empty") ||
         mentions("revision of auth store is old");
}

}  // namespace

/// One question with the authentication that it may need:
///
///     authenticating ──> asking ──> over
///            ^              │
///            └──────────────┘  once, if the token was refused
///
/// Without a user, and with a token from before, it begins with asking.
class Gateway::Exchange {
 public:
  Exchange(Gateway& gateway, std::size_t member, GatewayQuestion question)
      : gateway_(gateway),
        member_(member),
        question_(std::move(question)),
        deadline_(HttpLoop::TimePoint::clock::now() + question_.timeout) {
    if (gateway_.user_.empty() || !gateway_.token_.empty()) {
      ask();
    } else {
      authenticate();
    }
  }

 private:
  enum class Phase { authenticating, asking };

  void ask() {
    phase_ = Phase::asking;
    send(question_.path, question_.body, gateway_.token_, question_.onPiece);
  }

  void authenticate() {
    phase_ = Phase::authenticating;
    isTokenFresh_ = true;
    send("/v3/auth/authenticate", encodeUser(gateway_.user_, gateway_.password_), "", nullptr);
  }

  void send(const char* path, std::string body, std::string token, std::function<void(std::string_view)> onPiece) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - HttpLoop::TimePoint::clock::now()).count();
    HttpRequest request;
    request.url = gateway_.members_.url(member_) + path;
    request.body = std::move(body);
    request.authorization = std::move(token);
    request.timeout = std::chrono::milliseconds(std::max<decltype(left)>(left, 1));
    request.onPiece = std::move(onPiece);
    request.onDone = [this](HttpAnswer answer) { receive(std::move(answer)); };
    call_ = HttpCall(gateway_.loop_, std::move(request));
  }

  void receive(HttpAnswer answer) {
    if (!answer.failure.empty()) {
      finish(answer.failure, 0, {});
    } else if (answer.status != httpOk) {
      receiveRefusal(decodeRefusal(answer.body, answer.status));
    } else if (phase_ == Phase::authenticating) {
      receiveToken(answer.body);
    } else {
      finish({}, 0, std::move(answer.body));
    }
  }

  void receiveRefusal(const Refusal& refusal) {
    const bool isStale = phase_ == Phase::asking && !gateway_.user_.empty() && isAboutToken(refusal);
    if (isStale) {
      gateway_.token_.clear();
    }
    if (isStale && !isTokenFresh_) {
      authenticate();
    } else {
      finish(refusal.message, refusal.code, {});
    }
  }

  void receiveToken(const std::string& body) {
    try {
      gateway_.token_ = decodeToken(body);
    } catch (const std::runtime_error& error) {
      finish(error.what(), 0, {});
      return;
    }
    ask();
  }

  // The handler may destroy this object.
  void finish(const std::string& problem, int code, std::string body) {
    GatewayAnswer answer;
    answer.member = member_;
    answer.problem = problem.empty() ? "" : gateway_.describe(member_, problem);
    answer.code = code;
    answer.body = std::move(body);
    const auto handler = std::move(question_.onAnswer);
    handler(std::move(answer));
  }

  Gateway& gateway_;
  const std::size_t member_;
  GatewayQuestion question_;
  const HttpLoop::TimePoint deadline_;
  Phase phase_ = Phase::asking;
  bool isTokenFresh_ = false;
  HttpCall call_;
};

void Gateway::ExchangeDeleter::operator()(Exchange* exchange) const noexcept {
  delete exchange;
}

Gateway::Gateway(HttpLoop& loop, Members& members, const Settings& settings)
    : loop_(loop), members_(members), user_(settings.user), password_(readPassword(settings)) {}

Gateway::Call Gateway::ask(std::size_t member, GatewayQuestion question) {
  return Call(new Exchange(*this, member, std::move(question)));
}

std::string Gateway::describe(std::size_t member, const std::string& problem) const {
  constexpr std::size_t longest = 500;
  auto line = problem.substr(0, longest);
  std::replace_if(
      line.begin(), line.end(), [](unsigned char byte) { return byte < ' ' || byte == 0x7f; }, ' ');
  return members_.url(member) + ": " + line;
}

}  // namespace agent::spf::etcd
