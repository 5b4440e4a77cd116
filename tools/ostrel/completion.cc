#include "completion.h"

#include <vector>

namespace ostrel::tools::cli {
namespace {

struct OptionText {
  std::vector<std::string> names;  // with their dashes
  std::string description;
  bool takesValue;
};

std::vector<OptionText> optionsOf(CLI::App& app) {
  std::vector<OptionText> options;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;  // help does not show it either
    OptionText text;
    for (const std::string& name : option->get_snames())
      text.names.push_back("-" + name);
    for (const std::string& name : option->get_lnames())
      text.names.push_back("--" + name);
    if (text.names.empty()) continue;
    text.description = option->get_description();
    text.takesValue = option->get_items_expected_max() > 0;
    options.push_back(text);
  }
  return options;
}

std::string namesOf(CLI::App& app) {
  std::string names;
  for (const OptionText& option : optionsOf(app))
    for (const std::string& name : option.names) names += " " + name;
  return names.empty() ? names : names.substr(1);
}

std::vector<CLI::App*> commandsOf(CLI::App& app) {
  return app.get_subcommands([](CLI::App*) { return true; });
}

// The options of the program itself whose value is not a name of a command.
std::string withValue(CLI::App& app) {
  std::string pattern;
  for (const OptionText& option : optionsOf(app))
    if (option.takesValue)
      for (const std::string& name : option.names)
        pattern += (pattern.empty() ? "" : "|") + name;
  return pattern;
}

// Text inside single quotes, in a list whose fields are parted by colons.
std::string zshText(const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'')
      quoted += "'\\''";
    else if (c == ':' || c == '[' || c == ']')
      quoted += std::string("\\") + c;
    else
      quoted += c;
  }
  return quoted;
}

std::string zshOptions(CLI::App& app, const std::string& indent) {
  std::string lines;
  for (const OptionText& option : optionsOf(app)) {
    const std::string value = option.takesValue ? ":value: " : "";
    for (const std::string& name : option.names)
      lines += indent + "'" + name + "[" + zshText(option.description) + "]" +
               value + "' \\\n";
  }
  return lines;
}

}  // namespace

std::string bashCompletion(CLI::App& app) {
  std::string commands, cases;
  for (CLI::App* command : commandsOf(app)) {
    commands += (commands.empty() ? "" : " ") + command->get_name();
    cases += "    " + command->get_name() + ") options=\"$options " +
             namesOf(*command) + "\" ;;\n";
  }
  return "# bash completion for ostrel\n"
         "_ostrel() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before= command= i\n"
         "  [ \"$COMP_CWORD\" -gt 0 ] && before=${COMP_WORDS[COMP_CWORD - 1]}\n"
         "  COMPREPLY=()\n"
         "  case $before in\n"
         "    -s | --server | --directory)\n"
         "      COMPREPLY=($(compgen -A hostname -- \"$word\"))\n"
         "      return ;;\n"
         "    -p | --principal)\n"
         "      COMPREPLY=($(compgen -W none -- \"$word\"))\n"
         "      return ;;\n"
         "    " +
         withValue(app) +
         ") return ;;\n"
         "  esac\n"
         "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "    case ${COMP_WORDS[i]} in\n"
         "      " +
         withValue(app) +
         ") ((++i)) ;;\n"
         "      -*) ;;\n"
         "      *) command=${COMP_WORDS[i]}; break ;;\n"
         "    esac\n"
         "  done\n"
         "  local options=\"" +
         namesOf(app) +
         "\"\n"
         "  case $command in\n" +
         cases +
         "  esac\n"
         "  if [[ $word == -* ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n"
         "  elif [ -z \"$command\" ]; then\n"
         "    COMPREPLY=($(compgen -W \"" +
         commands +
         "\" -- \"$word\"))\n"
         "  elif [ \"$command\" = completion ]; then\n"
         "    COMPREPLY=($(compgen -W 'bash zsh' -- \"$word\"))\n"
         "  elif [ \"$command\" = config ]; then\n"
         "    COMPREPLY=($(compgen -W show -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -F _ostrel ostrel\n";
}

std::string zshCompletion(CLI::App& app) {
  std::string commands, cases;
  for (CLI::App* command : commandsOf(app)) {
    commands += "    '" + command->get_name() + ":" +
                zshText(command->get_description()) + "'\n";
    const std::string name = command->get_name();
    const std::string words = name == "completion" ? "'1:shell:(bash zsh)'"
                              : name == "config"   ? "'1:what:(show)'"
                                                   : "'*:word: '";
    cases += "    " + command->get_name() +
             ")\n"
             "      _arguments -s \\\n" +
             zshOptions(*command, "        ") + zshOptions(app, "        ") +
             "        " + words + " ;;\n";
  }
  return "#compdef ostrel\n"
         "_ostrel() {\n"
         "  local context state line\n"
         "  local -a commands\n"
         "  commands=(\n" +
         commands +
         "  )\n"
         "  _arguments -s -C \\\n" +
         zshOptions(app, "    ") +
         "    '1:command:->command' \\\n"
         "    '*::word:->word'\n"
         "  if [[ $state == command ]]; then\n"
         "    _describe command commands\n"
         "    return\n"
         "  fi\n"
         "  case ${words[1]} in\n" +
         cases +
         "  esac\n"
         "}\n"
         // Both as a file in $fpath and through eval.
         "if [[ ${zsh_eval_context[-1]} == loadautofunc ]]; then\n"
         "  _ostrel \"$@\"\n"
         "else\n"
         "  compdef _ostrel ostrel\n"
         "fi\n";
}

}  // namespace ostrel::tools::cli
