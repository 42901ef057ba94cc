#include "display/publisherLines.hpp"

#include <algorithm>
#include <utility>

#include "display/terminalText.hpp"

namespace spfctl {

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr std::size_t widestName = 24;

void append(std::string& line, const std::string& part) {
  line += line.empty() ? part : "; " + part;
}

std::string outstandingOf(const PublisherState& state, const std::string& what) {
  std::string text;
  for (const auto& endpoint : state.outstanding) {
    text += endpoint.what == what ? " " + endpoint.endpoint : "";
  }
  return text.empty() ? text : what + text;
}

std::string duration(steady_clock::duration time) {
  const auto whole = std::max<long long>(0, std::chrono::duration_cast<seconds>(time).count());
  if (whole < 60) {
    return std::to_string(whole) + " s";
  }
  return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
}

std::string padded(const std::string& text, std::size_t columns) {
  const auto used = columnsOf(text);
  return used < columns ? text + std::string(columns - used, ' ') : text;
}

std::string countText(const char* what, const EndpointCount& count) {
  if (count.configured == 0) {
    return {};
  }
  return std::string("  ") + what + " " + std::to_string(count.up) + " of " + std::to_string(count.configured);
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::uint64_t refusedBy(const PublisherState& state) {
  std::uint64_t sum = 0;
  for (const auto& handshakes : state.refused) {
    sum += handshakes.count;
  }
  return sum;
}

DisplayLine publisherLine(const PublisherState& state, const Moment& moment, std::size_t nameColumns) {
  auto text = padded(cutTo(escaped(state.id), widestName), nameColumns);
  if (state.failed()) {
    return {text + "  failed: " + escaped(state.error), Emphasis::bad};
  }
  const bool isDegraded = state.ready() && !state.outstanding.empty();
  text += padded(state.ready() ? (isDegraded ? "  degraded " : "  ready ") : "  waiting ", 11);
  text += padded(duration(moment.now - state.since), 6);
  text += countText("bound", state.bound) + countText("connected", state.connected);
  text += state.refused.empty() ? "" : "  " + refusedText(refusedBy(state));
  text += state.servicesPublished ? "" : "  services not published";
  text.erase(text.find_last_not_of(' ') + 1);
  return {text, state.ready() && !isDegraded ? Emphasis::good : Emphasis::none};
}

std::size_t nameColumnsOf(const std::vector<PublisherState>& states) {
  std::size_t columns = 0;
  for (const auto& state : states) {
    columns = std::max(columns, columnsOf(cutTo(escaped(state.id), widestName)));
  }
  return columns;
}

DisplayLine summary(const std::vector<PublisherState>& states) {
  const auto count = [&](bool (PublisherState::*is)() const) {
    return std::count_if(states.begin(), states.end(), [&](const PublisherState& state) { return (state.*is)(); });
  };
  return {counted(states.size(), "publisher", "publishers") + ": " + std::to_string(count(&PublisherState::ready)) +
          " ready, " + std::to_string(count(&PublisherState::isPending)) + " waiting, " +
          std::to_string(count(&PublisherState::failed)) + " failed"};
}

// Builds the block within a number of rows.
class Block {
 public:
  Block(const std::vector<PublisherState>& states, const Moment& moment, std::size_t rows)
      : states_(states), moment_(moment), rows_(rows), nameColumns_(nameColumnsOf(states)) {}

  std::vector<DisplayLine> lines() {
    if (states_.size() > rows_) {
      foldPublishers();
    } else {
      addPublishers(rows_ - states_.size());
    }
    return std::move(lines_);
  }

 private:
  // Those that need attention first: failed, then waiting, then ready.
  void foldPublishers() {
    lines_.push_back(summary(states_));
    for (const auto& wanted : {&PublisherState::failed, &PublisherState::isPending, &PublisherState::ready}) {
      for (const auto& state : states_) {
        if (lines_.size() < rows_ && (state.*wanted)()) {
          lines_.push_back(publisherLine(state, moment_, nameColumns_));
        }
      }
    }
  }

  void addPublishers(std::size_t rowsForEndpoints) {
    std::size_t left = 0;
    for (const auto& state : states_) {
      left += state.failed() ? 0 : state.outstanding.size();
    }
    const bool allFit = left <= rowsForEndpoints;
    // One row is kept for the number of those that are left out.
    auto rows = allFit || rowsForEndpoints == 0 ? rowsForEndpoints : rowsForEndpoints - 1;
    auto rowsForRefused = allFit ? rowsForEndpoints - left : 0;  // the publishers' own lines have the numbers
    for (const auto& state : states_) {
      lines_.push_back(publisherLine(state, moment_, nameColumns_));
      for (std::size_t index = 0; !state.failed() && index < state.outstanding.size() && rows > 0; ++index, --rows) {
        lines_.push_back({"  " + escaped(describe(state.outstanding[index]))});
        --left;
      }
      for (std::size_t index = 0; !state.failed() && index < state.refused.size() && rowsForRefused > 0;
           ++index, --rowsForRefused) {
        lines_.push_back({"  " + escaped(describe(state.refused[index]))});
      }
    }
    if (!allFit && rowsForEndpoints > 0) {
      lines_.push_back({"  " + counted(left, "more endpoint", "more endpoints") + " outstanding"});
    }
  }

  const std::vector<PublisherState>& states_;
  const Moment& moment_;
  const std::size_t rows_;
  const std::size_t nameColumns_;
  std::vector<DisplayLine> lines_;
};

}  // namespace

std::string describe(const PublisherState& state) {
  if (state.failed()) {
    return "failed: " + state.error;
  }
  if (state.ready()) {
    return "ready";
  }
  std::string line;
  for (const char* const what : {"to bind", "to connect"}) {
    const auto endpoints = outstandingOf(state, what);
    if (!endpoints.empty()) {
      append(line, endpoints);
    }
  }
  if (!state.servicesPublished) {
    append(line, "services not published");
  }
  return line;
}

std::string describe(const OutstandingEndpoint& endpoint) {
  auto text = endpoint.what + " " + endpoint.endpoint;
  if (!endpoint.phase.empty()) {
    text += ": " + endpoint.phase;
  }
  if (endpoint.tries != 0) {
    text += ", " + counted(endpoint.tries, "try", "tries");
  }
  return endpoint.reason.empty() ? text : text + ": " + endpoint.reason;
}

std::string refusedText(std::uint64_t count) {
  return counted(count, "handshake", "handshakes") + " refused";
}

std::string describe(const RefusedHandshakes& handshakes) {
  return "up " + handshakes.endpoint + " (" + refusedText(handshakes.count) + ", last: " + handshakes.last + ")";
}

std::string progressOf(const PublisherState& state, std::chrono::steady_clock::time_point now) {
  auto text = (state.ready() ? "ready " : "waiting ") + duration(now - state.since);
  for (const auto& [what, count] : {std::pair("bound", &state.bound), std::pair("connected", &state.connected)}) {
    if (count->configured != 0) {
      text += std::string(", ") + what + " " + std::to_string(count->up) + " of " + std::to_string(count->configured);
    }
  }
  return text;
}

std::vector<DisplayLine> publisherLines(const std::vector<PublisherState>& states, const Moment& moment,
                                        TerminalSize size) {
  if (states.empty()) {
    return {};
  }
  const std::size_t reserved = 1 + (moment.deadline ? 1 : 0);  // the cursor's line, and the time that is left
  auto lines = Block(states, moment, size.rows > reserved ? size.rows - reserved : 1).lines();
  if (moment.deadline && size.rows > reserved) {
    lines.push_back({duration(*moment.deadline - moment.now) + " left"});
  }
  for (auto& line : lines) {
    line.text = cutTo(line.text, size.columns > 1 ? size.columns - 1 : 1);
  }
  return lines;
}

}  // namespace spfctl
