#include "commands/CommandLine.hpp"

#include <algorithm>
#include <utility>

#include "agent/spf/frameworksupport/keysInMessages.hpp"
#include "commands/Definition.hpp"
#include "commands/help.hpp"
#include "commands/version.hpp"
#include "file/nearestName.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::quotedUnlessKey;

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

std::string expectedOneOf(const std::string& given, const std::vector<std::string>& names) {
  const auto nearest = nearestName(given, names);
  return nearest.empty() ? "expected " + joined(names) : "did you mean '" + nearest + "'?";
}

std::vector<std::string> optionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const auto* const option : command.get_options()) {
    for (const auto& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
  return names;
}

void checkCommandName(const Definition& definition, const std::vector<std::string>& arguments) {
  std::vector<std::string> names;
  for (const auto* const command : subcommandsOf(definition.app())) {
    names.push_back(command->get_name());
  }
  if (arguments.empty()) {
    throw UsageError("spfctl: no command; expected " + joined(names));
  }
  const auto& first = arguments.front();
  const bool isOption = first.size() > 1 && first.front() == '-';
  if (!isOption && std::find(names.begin(), names.end(), first) == names.end()) {
    throw UsageError("spfctl: unknown command " + quotedUnlessKey(first) + "; " + expectedOneOf(first, names));
  }
}

const CLI::App& parsedCommand(const Definition& definition) {
  const auto commands = definition.app().get_subcommands();
  return commands.empty() ? definition.app() : *commands.front();
}

std::string nameInMessages(const CLI::App& command) {
  return command.get_parent() == nullptr ? "spfctl" : "spfctl " + command.get_name();
}

[[noreturn]] void refuseExtra(const Definition& definition) {
  const auto& command = parsedCommand(definition);
  const auto extra = definition.app().remaining(true).front();
  const auto name = nameInMessages(command);
  if (extra.size() > 1 && extra.front() == '-') {
    const auto option = extra.substr(0, extra.find('='));
    throw UsageError(name + ": unknown option " + quotedUnlessKey(extra) + "; " +
                     expectedOneOf(option, optionNames(command)));
  }
  throw UsageError(name + ": unexpected argument " + quotedUnlessKey(extra));
}

void refuseEmptyFiles(const CLI::App& command) {
  for (const auto* const option : command.get_options()) {
    const auto& values = option->results();
    if (option->get_positional() && std::find(values.begin(), values.end(), std::string()) != values.end()) {
      throw UsageError(nameInMessages(command) + ": an empty " + option->get_name() + "; expected a name");
    }
  }
}

}  // namespace

Command parseCommandLine(std::vector<std::string> arguments) {
  Definition definition;
  checkCommandName(definition, arguments);
  // The parser would take brackets around one of several file names for a list.
  for (auto& argument : arguments) {
    const bool isBracketed = argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
    argument.insert(0, isBracketed ? "./" : "");
  }
  std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the end
  try {
    definition.app().parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return PrintText{helpText(definition, parsedCommand(definition))};
  } catch (const CLI::CallForVersion&) {
    return PrintText{std::string("spfctl ") + version() + "\n"};
  } catch (const CLI::ExtrasError&) {
    refuseExtra(definition);
  } catch (const CLI::RequiredError& error) {
    if (definition.app().remaining_size(true) != 0) {
      refuseExtra(definition);
    }
    throw UsageError(nameInMessages(parsedCommand(definition)) + ": " + error.what());
  } catch (const CLI::ParseError& error) {
    throw UsageError(nameInMessages(parsedCommand(definition)) + ": " + error.what());
  }
  refuseEmptyFiles(parsedCommand(definition));
  return definition.chosen();
}

}  // namespace spfctl
