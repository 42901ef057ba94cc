#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "display/PublisherState.hpp"

namespace spfctl {

/// The size of a terminal, in characters.
struct TerminalSize {
  std::size_t columns;
  std::size_t rows;
};

/// A moment of a run that is shown.
struct Moment {
  std::chrono::steady_clock::time_point now;
  std::optional<std::chrono::steady_clock::time_point> deadline;  ///< of the wait for readiness, while it lasts
};

enum class Emphasis { none, good, bad };

/// A line of the display, without control characters.
struct DisplayLine {
  std::string text;
  Emphasis emphasis = Emphasis::none;
};

/// Returns what is outstanding, as one line without the publisher's name: "ready", "failed: reason", or like
/// "to bind a; to connect b c; services not published".
std::string describe(const PublisherState& state);

/// Returns an endpoint that is not up with what is known about it, like "to connect a: opening, 3 tries: Connection
/// refused".
std::string describe(const OutstandingEndpoint& endpoint);

/// Returns how many handshakes an endpoint has refused, like "up a (3 handshakes refused, last: key unknown)".
std::string describe(const RefusedHandshakes& handshakes);

/// Returns a number of refused handshakes, like "1 handshake refused".
std::string refusedText(std::uint64_t count);

/// Returns how far a publisher is, like "waiting 3 s, bound 1 of 2, connected 0 of 1".
std::string progressOf(const PublisherState& state, std::chrono::steady_clock::time_point now);

/// Returns a block for a terminal of this size: a line for each publisher, below it one for each endpoint that is not
/// up or has refused handshakes, and the time that is left. What does not fit is folded: endpoints first, those that
/// are up before the others, then publishers that need no attention.
std::vector<DisplayLine> publisherLines(const std::vector<PublisherState>& states, const Moment& moment,
                                        TerminalSize size);

}  // namespace spfctl
