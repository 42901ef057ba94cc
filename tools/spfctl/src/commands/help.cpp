#include "commands/help.hpp"

#include <algorithm>
#include <sstream>

namespace spfctl {

namespace {

constexpr std::size_t textColumn = 22;
constexpr std::size_t widestLine = 100;

// Words on lines that begin at a column; the first line has been begun already.
std::string wrapped(const std::string& text, std::size_t column, std::size_t used) {
  std::istringstream words(text);
  std::string result;
  for (std::string word; words >> word;) {
    const bool isFirst = result.empty();
    if (!isFirst && used + 1 + word.size() > widestLine) {
      result += '\n' + std::string(column, ' ');
      used = column;
    } else if (!isFirst) {
      result += ' ';
      ++used;
    }
    result += word;
    used += word.size();
  }
  return result;
}

std::string row(const std::string& name, const std::string& text) {
  auto line = "  " + name;
  line +=
      line.size() + 2 > textColumn ? '\n' + std::string(textColumn, ' ') : std::string(textColumn - line.size(), ' ');
  return line + wrapped(text, textColumn, textColumn) + '\n';
}

std::string indented(const std::string& lines) {
  std::istringstream stream(lines);
  std::string result;
  for (std::string line; std::getline(stream, line);) {
    result += "  " + line + '\n';
  }
  return result;
}

std::string typeOf(const CLI::Option& option) {
  const auto type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

std::string optionRows(const CLI::App& command, bool positional) {
  std::string rows;
  for (const auto* const option : command.get_options()) {
    if (option->get_positional() == positional) {
      rows += row(optionSyntax(*option), option->get_description());
    }
  }
  return rows;
}

std::string commandRows(const CLI::App& app) {
  std::string rows;
  for (const auto* const command : subcommandsOf(app)) {
    rows += row(command->get_name(), command->get_description());
  }
  return rows;
}

std::string exitCodeRows() {
  std::string rows;
  for (const auto& text : exitCodeTexts()) {
    rows += row(text.code, text.meaning);
  }
  return rows;
}

std::string section(const char* title, const std::string& content) {
  return content.empty() ? std::string() : std::string(title) + ":\n" + content + '\n';
}

}  // namespace

std::string optionSyntax(const CLI::Option& option) {
  if (option.get_positional()) {
    return option.get_name() + (option.get_items_expected_max() > 1 ? "..." : "");
  }
  std::string syntax;
  for (const auto& name : option.get_snames()) {
    syntax += (syntax.empty() ? "-" : ", -") + name;
  }
  for (const auto& name : option.get_lnames()) {
    syntax += (syntax.empty() ? "--" : ", --") + name;
  }
  return option.get_items_expected_max() == 0 ? syntax : syntax + ' ' + typeOf(option);
}

std::string usageLine(const CLI::App& command) {
  if (command.get_parent() == nullptr) {
    return "spfctl COMMAND [ARGUMENT...]";
  }
  std::string line = "spfctl " + command.get_name();
  for (const auto* const option : command.get_options()) {
    if (option->get_positional()) {
      line += option->get_required() ? ' ' + optionSyntax(*option) : " [" + optionSyntax(*option) + "]";
    }
  }
  return line + " [OPTION...]";
}

std::string helpText(const Definition& definition, const CLI::App& command) {
  auto text = section("Examples", indented(command.get_footer()));
  text += "Usage: " + usageLine(command) + "\n\n" + wrapped(command.get_description(), 0, 0) + "\n\n";
  if (&command == &definition.app()) {
    text += section("Commands", commandRows(command));
  }
  text += section("Arguments", optionRows(command, true));
  text += section("Options", optionRows(command, false));
  text += section("Exit codes", exitCodeRows());
  text.pop_back();
  return text;
}

}  // namespace spfctl
