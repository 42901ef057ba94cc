#include "file/Findings.hpp"

#include <algorithm>
#include <ostream>
#include <utility>

#include "display/terminalText.hpp"

namespace spfctl {

namespace {

constexpr std::size_t widestExcerpt = 120;  // columns
constexpr std::size_t columnsBeforeCaret = 60;

// The part of a long line that is shown begins here.
std::size_t excerptBegin(const std::string& line, std::size_t caret) {
  if (columnsOf(escaped(line)) <= widestExcerpt || caret <= columnsBeforeCaret) {
    return 0;
  }
  auto begin = caret - columnsBeforeCaret;
  while (begin < caret && (static_cast<unsigned char>(line[begin]) & 0xC0) == 0x80) {
    ++begin;
  }
  return begin;
}

void printExcerpt(std::ostream& stream, const SourceText& source, const SourceText::Place& place, std::size_t offset) {
  auto line = source.text().substr(place.lineBegin, place.lineEnd - place.lineBegin);
  std::replace(line.begin(), line.end(), '\t', ' ');
  const auto caret = std::min(offset, source.text().size()) - place.lineBegin;
  const auto begin = excerptBegin(line, caret);
  const std::string number = std::to_string(place.line);
  const std::string cutMark = begin == 0 ? "" : "...";
  const auto before = cutMark + escaped(line.substr(begin, caret - begin));
  stream << "  " << number << " | " << cutTo(cutMark + escaped(line.substr(begin)), widestExcerpt) << "\n  "
         << std::string(number.size(), ' ') << " | " << std::string(columnsOf(before), ' ') << "^\n";
}

void printOne(std::ostream& stream, const SourceText& source, const Finding& finding) {
  const auto place = source.placeOf(finding.offset);
  stream << escaped(source.name()) << ':' << place.line << ':' << place.column << ": "
         << (finding.severity == Finding::Severity::warning ? "warning: " : "") << escaped(finding.message) << '\n';
  printExcerpt(stream, source, place, finding.offset);
}

void printRest(std::ostream& stream, const SourceText& source, std::size_t count, const char* what) {
  if (count > Findings::shownOfEach) {
    stream << escaped(source.name()) << ": " << count - Findings::shownOfEach << " more " << what << '\n';
  }
}

}  // namespace

void Findings::error(std::size_t offset, std::string message) {
  all_.push_back({Finding::Severity::error, offset, std::move(message)});
  ++errors_;
}

void Findings::warning(std::size_t offset, std::string message) {
  all_.push_back({Finding::Severity::warning, offset, std::move(message)});
}

Findings Findings::asErrors() const {
  Findings result;
  for (const auto& finding : all_) {
    result.error(finding.offset, finding.message);
  }
  return result;
}

std::vector<Finding> Findings::sorted() const {
  auto findings = all_;
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& left, const Finding& right) { return left.offset < right.offset; });
  return findings;
}

std::vector<Finding> Findings::shown() const {
  auto findings = sorted();
  std::size_t errors = 0;
  std::size_t warnings = 0;
  const auto isLeftOut = [&](const Finding& finding) {
    return ++(finding.severity == Finding::Severity::error ? errors : warnings) > shownOfEach;
  };
  findings.erase(std::remove_if(findings.begin(), findings.end(), isLeftOut), findings.end());
  return findings;
}

void print(std::ostream& stream, const SourceText& source, const Findings& findings) {
  for (const auto& finding : findings.shown()) {
    printOne(stream, source, finding);
  }
  printRest(stream, source, findings.errors(), "errors");
  printRest(stream, source, findings.warnings(), "warnings");
}

void printErrors(std::ostream& stream, const SourceText& source, const Findings& findings) {
  for (const auto& finding : findings.shown()) {
    if (finding.severity == Finding::Severity::error) {
      printOne(stream, source, finding);
    }
  }
  printRest(stream, source, findings.errors(), "errors");
}

}  // namespace spfctl
