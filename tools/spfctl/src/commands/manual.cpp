#include "commands/manual.hpp"

#include "commands/help.hpp"
#include "commands/version.hpp"

namespace spfctl {

namespace {

// In roff a hyphen is typographic unless escaped, and a line must not begin with a dot or a quote.
std::string roff(const std::string& text) {
  std::string result;
  for (const char character : text) {
    const bool beginsLine = result.empty() || result.back() == '\n';
    if (beginsLine && (character == '.' || character == '\'')) {
      result += "\\&";
    }
    if (character == '\\') {
      result += "\\e";
    } else if (character == '-') {
      result += "\\-";
    } else {
      result += character;
    }
  }
  return result;
}

std::string tagged(const std::string& tag, const std::string& text) {
  return ".TP\n.B " + roff(tag) + "\n" + roff(text) + "\n";
}

std::string literal(const std::string& lines) {
  return ".RS\n.nf\n" + roff(lines) + "\n.fi\n.RE\n";
}

std::string commandSection(const CLI::App& command) {
  auto text = ".SS " + roff(usageLine(command)) + "\n" + roff(command.get_description()) + "\n";
  for (const bool positional : {true, false}) {
    for (const auto* const option : command.get_options()) {
      if (option->get_positional() == positional && option->get_name() != "--help") {
        text += tagged(optionSyntax(*option), option->get_description());
      }
    }
  }
  return text + ".PP\nExamples:\n" + literal(command.get_footer());
}

}  // namespace

std::string manualPage(const Definition& definition) {
  const auto& app = definition.app();
  std::string page = ".TH SPFCTL 1 \"\" \"spfctl " + std::string(version()) + "\" \"User Commands\"\n";
  page += ".SH NAME\nspfctl \\- publish and check configurations of the SPF service framework\n";
  page += ".SH SYNOPSIS\n.B spfctl\n.I COMMAND\n.RI [ ARGUMENT... ]\n";
  page += ".SH DESCRIPTION\n" + roff(app.get_description()) + "\n";
  page += ".SH EXAMPLES\n" + literal(app.get_footer());
  page += ".SH OPTIONS\n";
  for (const auto* const option : app.get_options()) {
    page += tagged(optionSyntax(*option), option->get_description());
  }
  page += ".SH COMMANDS\n";
  for (const auto* const command : subcommandsOf(app)) {
    page += commandSection(*command);
  }
  page += ".SH EXIT STATUS\n";
  for (const auto& code : exitCodeTexts()) {
    page += tagged(code.code, code.meaning);
  }
  page += ".SH ENVIRONMENT\n" + tagged("NO_COLOR", "If set and not empty, nothing is coloured.") +
          tagged("TERM", "If it is dumb, nothing is coloured or redrawn.");
  return page;
}

}  // namespace spfctl
