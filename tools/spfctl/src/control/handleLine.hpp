#pragma once

#include <memory>
#include <string>

#include "control/ControlServer.hpp"

namespace spfctl {

/// Gives a client's line to the handler if it is a request of this version of the protocol. Answers other lines, and
/// what the handler throws, with the reason.
void handleLine(const std::string& line, const ControlServer::Handler& handler, const std::shared_ptr<Reply>& reply);

}  // namespace spfctl
