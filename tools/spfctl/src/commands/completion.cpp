#include "commands/completion.hpp"

#include <vector>

namespace spfctl {

namespace {

enum class Completion { none, files, directories, words };

Completion completionOf(const CLI::Option& option) {
  const auto type = option.get_type_name();
  if (!valuesOf(option).empty()) {
    return Completion::words;
  }
  if (type == "FILE") {
    return Completion::files;
  }
  return type == "DIR" ? Completion::directories : Completion::none;
}

std::string joined(const std::vector<std::string>& words, const char* separator) {
  std::string text;
  for (const auto& word : words) {
    text += (text.empty() ? "" : separator) + word;
  }
  return text;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const auto& name : option.get_snames()) {
    names.push_back("-" + name);
  }
  for (const auto& name : option.get_lnames()) {
    names.push_back("--" + name);
  }
  return names;
}

std::vector<std::string> optionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const auto* const option : command.get_options()) {
    if (!option->get_positional()) {
      const auto own = namesOf(*option);
      names.insert(names.end(), own.begin(), own.end());
    }
  }
  return names;
}

std::vector<std::string> commandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const auto* const command : subcommandsOf(app)) {
    names.push_back(command->get_name());
  }
  return names;
}

bool takesValue(const CLI::Option& option) {
  return option.get_items_expected_max() != 0;
}

bool mayBeRepeated(const CLI::Option& option) {
  return option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
}

// The first sentence is enough for a list.
std::string summaryOf(const std::string& description) {
  return description.substr(0, description.find_first_of(".,;:("));
}

// In single quotes for a POSIX shell, or for fish, whose quotes know \'.
std::string quoted(const std::string& text, const char* quote) {
  std::string result = "'";
  for (const char character : text) {
    result += character == '\'' ? std::string(quote) : std::string(1, character);
  }
  return result + "'";
}

std::string bashValue(const CLI::Option& option) {
  switch (completionOf(option)) {
    case Completion::files:
      return "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- \"$cur\")";
    case Completion::directories:
      return "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- \"$cur\")";
    case Completion::words:
      return "mapfile -t COMPREPLY < <(compgen -W '" + joined(valuesOf(option), " ") + "' -- \"$cur\")";
    default:
      return "COMPREPLY=()";
  }
}

std::string bashCommand(const CLI::App& command) {
  std::string values;
  std::string positional = "COMPREPLY=()";
  for (const auto* const option : command.get_options()) {
    if (option->get_positional()) {
      positional = bashValue(*option);
    } else if (takesValue(*option)) {
      values += "        " + joined(namesOf(*option), "|") + ") " + bashValue(*option) + "; return ;;\n";
    }
  }
  std::string text = "    " + command.get_name() + ")\n";
  text += values.empty() ? "" : "      case \"$prev\" in\n" + values + "      esac\n";
  text += "      options='" + joined(optionsOf(command), " ") + "'\n";
  text += "      [[ $cur == -* ]] || { " + positional + "; return; }\n      ;;\n";
  return text;
}

std::string bashScript(const Definition& definition) {
  const auto& app = definition.app();
  const auto names = commandNames(app);
  std::string text = R"(# bash completion for spfctl
_spfctl() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command='' options='' word
  # The equals sign between an option and its value is a word of its own.
  if [[ $cur == '=' ]]; then
    cur=''
  elif [[ $prev == '=' && COMP_CWORD -ge 2 ]]; then
    prev=${COMP_WORDS[COMP_CWORD-2]}
  fi
  COMPREPLY=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case "$word" in
      )";
  text += joined(names, "|") + R"() command=$word; break ;;
    esac
  done
  case "$command" in
)";
  for (const auto* const command : subcommandsOf(app)) {
    text += bashCommand(*command);
  }
  text += "    *) options='" + joined(optionsOf(app), " ") + "'\n       [[ $cur == -* ]] || options='" +
          joined(names, " ") + "' ;;\n";
  text += R"(  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
}
complete -F _spfctl spfctl
)";
  return text;
}

// What zsh's _arguments takes behind the description of an option or argument.
std::string zshAction(const CLI::Option& option) {
  switch (completionOf(option)) {
    case Completion::files:
      return ":file:_files";
    case Completion::directories:
      return ":directory:_files -/";
    case Completion::words:
      return ":value:(" + joined(valuesOf(option), " ") + ")";
    default:
      return ":value: ";
  }
}

std::string zshArguments(const CLI::App& command) {
  std::string text;
  int position = 1;
  for (const auto* const option : command.get_options()) {
    if (option->get_positional()) {
      const bool repeated = option->get_items_expected_max() > 1;
      text += " \\\n        " + quoted((repeated ? "*" : std::to_string(position++)) + zshAction(*option), "'\\''");
      continue;
    }
    for (const auto& name : namesOf(*option)) {
      const std::string value = takesValue(*option) ? "=" : "";
      const auto action = takesValue(*option) ? zshAction(*option) : std::string();
      text += " \\\n        " + quoted(std::string(mayBeRepeated(*option) ? "*" : "") + name + value + "[" +
                                           summaryOf(option->get_description()) + "]" + action,
                                       "'\\''");
    }
  }
  return text;
}

std::string zshScript(const Definition& definition) {
  const auto& app = definition.app();
  std::string text =
      "#compdef spfctl\n_spfctl() {\n  local curcontext=$curcontext state line\n  local -a commands\n  commands=(\n";
  for (const auto* const command : subcommandsOf(app)) {
    text += "    " + quoted(command->get_name() + ":" + summaryOf(command->get_description()), "'\\''") + "\n";
  }
  text += "  )\n  _arguments -C" + zshArguments(app) +
          " \\\n        '1:command:->command' '*::argument:->argument'\n  case $state in\n"
          "    command) _describe command commands ;;\n    argument)\n      case $words[1] in\n";
  for (const auto* const command : subcommandsOf(app)) {
    text += "      " + command->get_name() + ") _arguments" + zshArguments(*command) + " ;;\n";
  }
  return text +
         "      esac ;;\n  esac\n}\n"
         "if [ \"$funcstack[1]\" = _spfctl ]; then\n  _spfctl \"$@\"\nelse\n  compdef _spfctl spfctl\nfi\n";
}

std::string fishOption(const CLI::Option& option, const std::string& condition) {
  std::string text = "complete -c spfctl" + condition;
  for (const auto& name : option.get_snames()) {
    text += " -s " + name;
  }
  for (const auto& name : option.get_lnames()) {
    text += " -l " + name;
  }
  switch (completionOf(option)) {
    case Completion::files:
      text += " -rF";
      break;
    case Completion::directories:
      text += " -x -a '(__fish_complete_directories)'";
      break;
    case Completion::words:
      text += " -x -a '" + joined(valuesOf(option), " ") + "'";
      break;
    default:
      text += takesValue(option) ? " -x" : "";
  }
  return text + " -d " + quoted(summaryOf(option.get_description()), "\\'") + "\n";
}

std::string fishCommand(const CLI::App& command) {
  const auto condition = " -n '__fish_seen_subcommand_from " + command.get_name() + "'";
  std::string text;
  for (const auto* const option : command.get_options()) {
    if (!option->get_positional()) {
      text += fishOption(*option, condition);
    } else if (completionOf(*option) == Completion::words) {
      text += "complete -c spfctl" + condition + " -f -a '" + joined(valuesOf(*option), " ") + "'\n";
    } else if (completionOf(*option) == Completion::files) {
      text += "complete -c spfctl" + condition + " -F\n";
    }
  }
  return text;
}

std::string fishScript(const Definition& definition) {
  const auto& app = definition.app();
  std::string text = "# fish completion for spfctl\ncomplete -c spfctl -f\n";
  for (const auto* const option : app.get_options()) {
    text += fishOption(*option, " -n __fish_use_subcommand");
  }
  for (const auto* const command : subcommandsOf(app)) {
    text += "complete -c spfctl -n __fish_use_subcommand -f -a " + command->get_name() + " -d " +
            quoted(summaryOf(command->get_description()), "\\'") + "\n";
    text += fishCommand(*command);
  }
  return text;
}

}  // namespace

std::string completionScript(const Definition& definition, const std::string& shell) {
  if (shell == "bash") {
    return bashScript(definition);
  }
  return shell == "zsh" ? zshScript(definition) : fishScript(definition);
}

}  // namespace spfctl
