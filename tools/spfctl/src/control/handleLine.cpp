#include "control/handleLine.hpp"

#include <exception>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "control/answers.hpp"
#include "control/protocol.hpp"

namespace spfctl {

namespace {

using nlohmann::json;

// No request is nested so deeply; deeper values are dropped, so that a short text cannot take much memory.
constexpr int deepest = 16;

std::string whyUnusable(const json& request) {
  if (!request.is_object()) {
    return "a request that is no JSON object";
  }
  const auto version = request.find("version");
  if (version == request.end() || *version != protocol::version) {
    return "version " +
           (version == request.end() ? std::string("missing") : version->dump().substr(0, longestRepetition)) +
           "; expected " + std::to_string(protocol::version);
  }
  const auto name = request.find("request");
  return name == request.end() || !name->is_string() ? "no 'request'; expected a text" : "";
}

}  // namespace

void handleLine(const std::string& line, const ControlServer::Handler& handler, const std::shared_ptr<Reply>& reply) {
  try {
    const auto request = json::parse(
        line, [](int depth, json::parse_event_t, json&) { return depth < deepest; }, false);
    const auto reason = request.is_discarded() ? "a request that is no JSON" : whyUnusable(request);
    if (reason.empty()) {
      handler(request, reply);
    } else {
      reply->finish(failure(ExitCode::wrongUsage, reason));
    }
  } catch (const std::invalid_argument& error) {
    reply->finish(failure(ExitCode::wrongUsage, error.what()));
  } catch (const std::exception& error) {
    reply->finish(failure(ExitCode::failedAtRunTime, error.what()));
  }
}

}  // namespace spfctl
