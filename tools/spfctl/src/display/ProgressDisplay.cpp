#include "display/ProgressDisplay.hpp"

#include <algorithm>
#include <iterator>
#include <ostream>

#include "display/terminalText.hpp"

namespace spfctl {

namespace {

const char* colourOf(Emphasis emphasis) {
  switch (emphasis) {
    case Emphasis::good:
      return "\x1b[32m";
    case Emphasis::bad:
      return "\x1b[31m";
    default:
      return "";
  }
}

bool areEqual(const std::vector<DisplayLine>& left, const std::vector<DisplayLine>& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const DisplayLine& one, const DisplayLine& other) { return one.text == other.text; });
}

// The number of tries changes too often to be worth a line.
std::string withoutTries(OutstandingEndpoint endpoint) {
  endpoint.tries = 0;
  return describe(endpoint);
}

}  // namespace

ProgressDisplay::ProgressDisplay(std::ostream& stream, DisplayOptions options)
    : stream_(stream), options_(std::move(options)) {}

void ProgressDisplay::show(const std::vector<PublisherState>& states, const Moment& moment) {
  if (options_.isQuiet) {
    return;
  }
  if (const auto size = options_.terminalSize()) {
    redraw(publisherLines(states, moment, *size), *size);
  } else {
    for (const auto& state : states) {
      writeChanges(state);
      writeRefusals(state);
    }
  }
  stream_.flush();
}

void ProgressDisplay::erase() {
  if (const auto size = options_.terminalSize()) {
    eraseDrawn(*size);
    stream_.flush();
  }
}

void ProgressDisplay::startNewBlock() {
  drawn_.clear();
}

void ProgressDisplay::eraseDrawn(TerminalSize size) {
  if (!drawn_.empty()) {
    const auto rows = std::min(drawnRows(std::max<std::size_t>(1, size.columns)), size.rows > 1 ? size.rows - 1 : 1);
    stream_ << "\x1b[" << rows << "A\x1b[J";
    drawn_.clear();
  }
}

// Lines that were drawn on a wider terminal have been wrapped since.
std::size_t ProgressDisplay::drawnRows(std::size_t columns) const {
  std::size_t rows = 0;
  for (const auto& line : drawn_) {
    rows += std::max<std::size_t>(1, (columnsOf(line.text) + columns - 1) / columns);
  }
  return rows;
}

void ProgressDisplay::redraw(std::vector<DisplayLine> lines, TerminalSize size) {
  if (areEqual(lines, drawn_) && size.columns == drawnColumns_) {
    return;
  }
  eraseDrawn(size);
  for (const auto& line : lines) {
    const auto* const colour = options_.isColoured ? colourOf(line.emphasis) : "";
    stream_ << colour << line.text << (*colour == '\0' ? "" : "\x1b[0m") << '\n';
  }
  drawn_ = std::move(lines);
  drawnColumns_ = size.columns;
}

void ProgressDisplay::writeChanges(const PublisherState& state) {
  const auto write = [this](const std::string& key, const std::string& publisher, const std::string& text) {
    auto& shown = shown_[key];
    if (shown != text) {
      shown = text;
      if (!text.empty()) {  // between the last event of an endpoint and "ready" nothing is outstanding
        writeLine(publisher + ": " + text);
      }
    }
  };
  write(state.id, state.id, describe(state));
  std::set<std::string> outstanding;
  for (const auto& endpoint : state.outstanding) {
    const auto key = state.id + '\0' + endpoint.what + ' ' + endpoint.endpoint;
    outstanding.insert(key);
    // What the publisher's own line does not say.
    if (endpoint.phase == "lost" || !endpoint.reason.empty() || shown_.count(key) != 0) {
      write(key, state.id, withoutTries(endpoint));
    }
  }
  // Endpoints that were reported and are up again.
  const auto prefix = state.id + '\0';
  for (auto entry = shown_.lower_bound(prefix); entry != shown_.end() && entry->first.rfind(prefix, 0) == 0;) {
    if (outstanding.count(entry->first) != 0) {
      ++entry;
      continue;
    }
    if (!state.failed()) {
      writeLine(state.id + ": up: " + entry->first.substr(entry->first.find(' ', prefix.size() + 3) + 1));
    }
    entry = shown_.erase(entry);
  }
}

// The number of handshakes changes too often to be worth a line, and strangers decide on the reasons: each is written
// once.
void ProgressDisplay::writeRefusals(const PublisherState& state) {
  std::set<std::string> refusing;
  for (const auto& handshakes : state.refused) {
    refusing.insert(handshakes.endpoint);
    if (refusals_[{state.id, handshakes.endpoint}].insert(handshakes.last).second) {
      writeLine(state.id + ": up " + handshakes.endpoint + ": handshakes refused: " + handshakes.last);
    }
  }
  // Those whose sockets have been opened anew begin anew.
  for (auto entry = refusals_.begin(); entry != refusals_.end();) {
    const auto& [publisher, endpoint] = entry->first;
    entry = publisher == state.id && refusing.count(endpoint) == 0 ? refusals_.erase(entry) : std::next(entry);
  }
}

void ProgressDisplay::writeLine(const std::string& text) {
  stream_ << options_.timeStamp() << ' ' << escaped(text) << '\n';
}

}  // namespace spfctl
