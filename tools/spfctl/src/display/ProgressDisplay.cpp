#include "display/ProgressDisplay.hpp"

#include <ostream>

namespace spfctl {

namespace {

void append(std::string& line, const std::string& part) {
  line += line.empty() ? part : "; " + part;
}

void appendEndpoints(std::string& line, const char* what, const std::vector<std::string>& endpoints) {
  if (endpoints.empty()) {
    return;
  }
  append(line, what);
  for (const auto& endpoint : endpoints) {
    line += " " + endpoint;
  }
}

}  // namespace

std::string describe(const PublisherState& state) {
  if (state.failed()) {
    return "failed: " + state.error;
  }
  if (state.ready()) {
    return "ready";
  }
  std::string line;
  appendEndpoints(line, "to bind", state.toBind);
  appendEndpoints(line, "to connect", state.toConnect);
  if (!state.servicesPublished) {
    append(line, "services not published");
  }
  return line;
}

ProgressDisplay::ProgressDisplay(std::ostream& stream, std::size_t columns) : stream_(stream), columns_(columns) {}

void ProgressDisplay::show(const std::vector<PublisherState>& states) {
  bool changed = false;
  std::vector<std::string> lines;
  for (const auto& state : states) {
    const auto line = describe(state);
    lines.push_back(state.id + ": " + line);
    if (shown_[state.id] != line) {
      shown_[state.id] = line;
      changed = true;
      if (columns_ == 0) {
        stream_ << lines.back() << '\n';
      }
    }
  }
  if (changed && columns_ != 0) {
    redraw(lines);
  }
  stream_.flush();
}

void ProgressDisplay::redraw(const std::vector<std::string>& lines) {
  if (drawnLines_ != 0) {
    stream_ << "\x1b[" << drawnLines_ << "A";
  }
  for (const auto& line : lines) {
    // A line that wraps would take two, and the next drawing would begin too low.
    stream_ << "\x1b[2K" << line.substr(0, columns_ - 1) << '\n';
  }
  drawnLines_ = lines.size();
}

}  // namespace spfctl
