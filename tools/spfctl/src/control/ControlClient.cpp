#include "control/ControlClient.hpp"

#include <istream>
#include <string>
#include <utility>

#include <boost/asio/local/stream_protocol.hpp>
#include <nlohmann/json.hpp>

#include "control/protocol.hpp"

namespace spfctl {

using nlohmann::ordered_json;

struct ControlClient::Stream : boost::asio::local::stream_protocol::iostream {};

ControlClient::ControlClient(const ControlFolder& folder, std::string host, Deadline deadline)
    : host_(std::move(host)), stream_(std::make_unique<Stream>()) {
  setDeadline(deadline);
  try {
    stream_->connect(boost::asio::local::stream_protocol::endpoint(folder.socketOf(host_).native()));
  } catch (const boost::system::system_error& error) {
    throw ControlError("control socket '" + folder.socketOf(host_).native() + "': " + error.code().message());
  }
  if (!*stream_) {
    const auto error = stream_->error();
    const bool isAbsent =
        error == boost::system::errc::no_such_file_or_directory || error == boost::system::errc::connection_refused;
    if (isAbsent) {
      throw NoHostError("no host named '" + host_ + "' in " + folder.path().native());
    }
    if (error == boost::asio::error::operation_aborted || error == boost::system::errc::timed_out) {
      throw NoAnswerError("host '" + host_ + "' has not answered in time");
    }
    throw ControlError("host '" + host_ + "' cannot be reached: " + error.message());
  }
}

ControlClient::~ControlClient() = default;

void ControlClient::setDeadline(Deadline deadline) {
  stream_->expires_at(deadline);
}

// A host that does not take the request closes the connection, which reading notices, after the reason that it gave.
void ControlClient::send(ordered_json request) {
  ordered_json versioned{{"version", protocol::version}};
  versioned.update(request);
  *stream_ << versioned.dump(-1, ' ', false, ordered_json::error_handler_t::replace) << '\n' << std::flush;
  stream_->clear();
}

std::string ControlClient::readLine() {
  std::string line;
  if (std::getline(*stream_, line) && !stream_->eof()) {
    return line;
  }
  if (stream_->error() == boost::asio::error::operation_aborted || stream_->error() == boost::system::errc::timed_out) {
    throw NoAnswerError("host '" + host_ + "' has not answered in time");
  }
  throw ConnectionLostError("the connection to host '" + host_ + "' was lost");
}

ordered_json ControlClient::readAnswer() {
  auto answer = ordered_json::parse(readLine(), nullptr, false);
  if (!answer.is_object()) {
    throw ControlError("host '" + host_ + "' has sent something that is no answer");
  }
  return answer;
}

void ControlClient::waitForEnd() {
  try {
    for (;;) {
      readLine();
    }
  } catch (const ConnectionLostError&) {
    // This is the end.
  }
}

}  // namespace spfctl
